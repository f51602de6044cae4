#include "service/messages.h"

#include <cstdlib>
#include <string>
#include <unistd.h>

#include "host/text/text.h"

namespace zrtmon::service {
namespace {

/// One line whatever a title or a device put into the text.
std::string OneLine(std::string_view text)
{
    std::string line = host::PrintableUtf8(text);
    for (char& byte : line) {
        byte = byte == '\n' || byte == '\t' ? ' ' : byte;
    }
    return line;
}

} // namespace

void Report(Severity severity, const CSubject& subject, std::string_view text)
{
    static const bool isJournal = std::getenv("JOURNAL_STREAM") != nullptr;
    std::string line = isJournal ? '<' + std::to_string(static_cast<int>(severity)) + '>' : "zrtmond: ";
    line += subject.printer.empty() ? "" : "printer " + OneLine(subject.printer) + ": ";
    line += subject.job == 0 ? "" : "job " + std::to_string(subject.job) + ": ";
    line += OneLine(text) + '\n';
    // In one call, so that lines of several threads do not mix. Nobody can be told when it fails.
    [[maybe_unused]] const ssize_t ignored = write(STDERR_FILENO, line.data(), line.size());
}

} // namespace zrtmon::service
