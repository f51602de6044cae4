#include "host/printing/job_source.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <utility>

#include "host/exit_status.h"
#include "host/text/file.h"

namespace zrtmon::host {
namespace {

std::unique_ptr<std::istream> OpenJob(const std::filesystem::path& path)
{
    std::error_code ignored;
    if (std::filesystem::is_regular_file(path, ignored)) {
        return std::make_unique<std::ifstream>(path, std::ios::binary);
    }
    // A pipe has no size before its end. What is not a file at all is refused here.
    return std::make_unique<std::istringstream>(ReadWholeFile(path));
}

} // namespace

CJobSource::CJobSource(std::filesystem::path path) : m_path(std::move(path)), m_input(OpenJob(m_path))
{
    m_input->seekg(0, std::ios::end);
    const auto size = static_cast<std::streamoff>(m_input->tellg());
    m_input->seekg(0);
    if (!*m_input) {
        throw CHostError(ExitStatus::NoInput, DisplayPath(m_path) + ": cannot be opened for reading");
    }
    if (size == 0) {
        throw CHostError(ExitStatus::BadData, DisplayPath(m_path) + ": the file is empty, nothing to print");
    }
    m_totalBytes = static_cast<uint64_t>(size);
}

std::span<char> CJobSource::Piece(uint32_t mostBytes)
{
    if (m_taken == m_piece.size() && m_readBytes < m_totalBytes) {
        m_piece.resize(static_cast<size_t>(std::min<uint64_t>(mostBytes, m_totalBytes - m_readBytes)));
        if (!m_input->read(m_piece.data(), static_cast<std::streamsize>(m_piece.size()))) {
            throw CHostError(ExitStatus::NoInput, DisplayPath(m_path) + ": cannot be read to its end");
        }
        m_readBytes += m_piece.size();
        m_taken = 0;
    }
    return std::span(m_piece).subspan(m_taken);
}

} // namespace zrtmon::host
