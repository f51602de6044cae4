#include "host/terminal/console.h"

namespace zrtmon::host {
namespace {

constexpr char kEraseLine[] = "\r\x1b[K";
constexpr char kPlain[] = "\x1b[0m";
constexpr const char* kTones[] = {"", "\x1b[32m", "\x1b[33m", "\x1b[31m"};

std::string FirstColumns(const std::string& text, size_t columns)
{
    size_t end = 0;
    for (size_t seen = 0; end < text.size(); ++end) {
        const bool beginsCharacter = (static_cast<unsigned char>(text[end]) & 0xC0) != 0x80;
        if (beginsCharacter && ++seen > columns) {
            break;
        }
    }
    return text.substr(0, end);
}

} // namespace

void CConsole::Answer(const std::string& text)
{
    const CSectionHold hold(m_lock);
    Erase();
    m_environment.out << text << '\n' << std::flush;
    Redraw();
}

void CConsole::Message(const std::string& text, Tone tone)
{
    const CSectionHold hold(m_lock);
    Erase();
    const bool colored = m_environment.colors && tone != Tone::Plain;
    m_environment.err << (colored ? kTones[static_cast<size_t>(tone)] : "") << text << (colored ? kPlain : "")
                      << '\n'
                      << std::flush;
    Redraw();
}

void CConsole::Progress(const std::string& text)
{
    const CSectionHold hold(m_lock);
    if (!m_environment.rewritesLine || text == m_progress) {
        return;
    }
    Erase();
    m_progress = text;
    Redraw();
}

void CConsole::Prompt(const std::string& text)
{
    if (m_environment.rewritesLine) {
        Progress(text);
    } else {
        Message(text);
    }
}

void CConsole::ClearProgress()
{
    const CSectionHold hold(m_lock);
    Erase();
    m_progress.clear();
}

void CConsole::Erase()
{
    if (!m_progress.empty()) {
        m_environment.err << kEraseLine << std::flush;
    }
}

void CConsole::Redraw()
{
    if (!m_progress.empty()) {
        // The last column stays free: a terminal would wrap after it.
        m_environment.err << FirstColumns(m_progress, m_environment.columns() - 1) << std::flush;
    }
}

} // namespace zrtmon::host
