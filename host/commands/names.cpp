#include <algorithm>

#include "host/commands/commands.h"
#include "host/printer/value_names.h"
#include "host/text/text.h"

namespace zrtmon::host {
namespace {

std::string Form(const CValueName& row)
{
    return std::string(row.name) + (row.parameters.empty() ? "" : "/" + std::string(row.parameters));
}

ExitStatus ListNames(CHostEnvironment&, CConsole& console)
{
    size_t formWidth = 0;
    size_t answerWidth = 0;
    for (const CValueName& row : ValueNames()) {
        formWidth = std::max(formWidth, Form(row).size());
        answerWidth = std::max(answerWidth, row.answer.size());
    }
    std::string unserved;
    for (const CValueName& row : ValueNames()) {
        if (row.kind == ValueKind::Unserved) {
            unserved += (unserved.empty() ? "" : ", ") + std::string(row.name);
            continue;
        }
        console.Answer(Padded(Form(row), formWidth) + "  " + Padded(std::string(row.answer), answerWidth) +
                       "  " + std::string(row.example));
    }
    console.Answer("not supported: " + unserved);
    return ExitStatus::Done;
}

} // namespace

CCommand NamesCommand()
{
    return {.name = "names",
            .help = "List the value names with their parameters, answers and examples",
            .run = ListNames};
}

} // namespace zrtmon::host
