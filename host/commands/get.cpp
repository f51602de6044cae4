#include <memory>

#include "host/commands/commands.h"
#include "host/printer/status_words.h"
#include "host/printer/value_names.h"
#include "host/text/json.h"
#include "host/text/text.h"

namespace zrtmon::host {
namespace {

struct CGetArguments {
    std::vector<std::string> names;
    CPrinterChoice printer;
    bool json = false;
};

/// Shows the answers: each when it arrives, or all as one JSON object at the end.
class CAnswerSheet {
public:
    CAnswerSheet(CConsole& console, const CGetArguments& arguments)
        : m_console(console), m_json(arguments.json), m_single(arguments.names.size() == 1)
    {
    }

    void Add(const std::string& name, const std::string& text)
    {
        if (m_json) {
            m_answers.emplace_back(PrintableUtf8(name), PrintableUtf8(text));
        } else if (!text.empty()) {
            m_console.Answer(m_single ? Printable(text) : name + '=' + Printable(text));
        }
    }

    void Finish()
    {
        if (m_json) {
            m_console.Answer(JsonLines(m_answers));
        }
    }

private:
    CConsole& m_console;
    bool m_json;
    bool m_single;
    CJson::Object m_answers;
};

void CheckNames(const std::vector<std::string>& names)
{
    for (const std::string& name : names) {
        const std::string problem = RequestProblem(name);
        if (!problem.empty()) {
            throw CHostError(ExitStatus::Usage, problem);
        }
    }
}

/// Queries every name, also after one that fails; the status is that of the first failure.
ExitStatus Get(const CGetArguments& arguments, CHostEnvironment& environment, CConsole& console)
{
    CheckNames(arguments.names);
    const std::unique_ptr<IPrinter> printer = OpenPrinter(arguments.printer, environment);
    CAnswerSheet sheet(console, arguments);
    ExitStatus status = ExitStatus::Done;
    for (const std::string& name : arguments.names) {
        StopWhenInterrupted(environment);
        const CQueryResult answer = printer->Query(name);
        if (answer.answered) {
            sheet.Add(name, answer.text);
            if (answer.isStored) {
                console.Message(Printable(name) +
                                    ": stored earlier; the printer was not asked, it is busy or off",
                                Tone::Warning);
            }
            continue;
        }
        console.Message("zrtctl: " + Printable(name) + ": " + QueryProblem(*printer, answer), Tone::Bad);
        status = status == ExitStatus::Done ? QueryStatus(answer.error) : status;
    }
    sheet.Finish();
    return status;
}

} // namespace

CCommand GetCommand()
{
    const auto arguments = std::make_shared<CGetArguments>();
    return {.name = "get",
            .help = "Query the printer by value name",
            .options = WithPrinterOptions(
                {{.name = "NAME",
                  .target = &arguments->names,
                  .help = "Value names; NAME/PARAMETERS for those that take parameters",
                  .required = true},
                 {.name = "--json", .target = &arguments->json, .help = "Print one JSON object"}},
                arguments->printer),
            .run = [arguments](CHostEnvironment& environment, CConsole& console) {
                return Get(*arguments, environment, console);
            }};
}

} // namespace zrtmon::host
