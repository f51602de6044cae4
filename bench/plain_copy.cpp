// The least that sending a file to a port costs: a loop of read and write, 64 KiB at a time.
//
//   zrtmon_plain_copy FILE PORT
#include <array>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr size_t kPieceBytes = size_t{64} * 1024;

int Connect(uint16_t port)
{
    const int connection = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? connection
                                                                                                 : -1;
}

bool WriteAll(int connection, const char* data, size_t size)
{
    for (size_t done = 0; done < size;) {
        const ssize_t taken = write(connection, data + done, size - done);
        if (taken < 0) {
            return false;
        }
        done += static_cast<size_t>(taken);
    }
    return true;
}

} // namespace

int main(int argumentCount, char** arguments)
{
    if (argumentCount != 3) {
        std::fputs("usage: zrtmon_plain_copy FILE PORT\n", stderr);
        return 64;
    }
    const int file = open(arguments[1], O_RDONLY);
    const int connection = Connect(static_cast<uint16_t>(std::atoi(arguments[2])));
    static std::array<char, kPieceBytes> piece;
    ssize_t size = 0;
    while ((size = read(file, piece.data(), piece.size())) > 0) {
        if (!WriteAll(connection, piece.data(), static_cast<size_t>(size))) {
            return 1;
        }
    }
    shutdown(connection, SHUT_WR);
    while (read(connection, piece.data(), piece.size()) > 0) {
    }
    return size == 0 ? 0 : 1;
}
