/// The two output streams of the command line, shared by its threads.
#pragma once

#include <string>

#include "host/environment.h"
#include "platform/sync.h"

namespace zrtmon::host {

enum class Tone {
    Plain,
    Good,
    Warning,
    Bad,
};

/// Writes whole lines. On a terminal the progress stays below them as the last line. Any thread.
class CConsole {
public:
    explicit CConsole(CHostEnvironment& environment) : m_environment(environment) {}
    ~CConsole() { ClearProgress(); }
    CConsole(const CConsole&) = delete;
    CConsole& operator=(const CConsole&) = delete;

    /// Writes a line to standard output.
    void Answer(const std::string& text);
    /// Writes a line to standard error.
    void Message(const std::string& text, Tone tone = Tone::Plain);
    /// Replaces the progress line, cut to the terminal's width. Does nothing if lines cannot be rewritten.
    void Progress(const std::string& text);
    /// Shows a prompt in place of the progress, until ClearProgress; as a separate line if lines cannot be
    /// rewritten.
    void Prompt(const std::string& text);
    void ClearProgress();

    bool RewritesLine() const { return m_environment.rewritesLine; }

private:
    void Erase();
    void Redraw();

    CHostEnvironment& m_environment;
    CCriticalSection m_lock; ///< guards both streams and m_progress
    std::string m_progress;
};

} // namespace zrtmon::host
