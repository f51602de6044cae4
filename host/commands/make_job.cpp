#include <memory>

#include "host/commands/command.h"
#include "host/printing/progress.h"
#include "host/text/file.h"
#include "host/text/text.h"
#include "simulator/job_builder.h"

namespace zrtmon::host {
namespace {

constexpr uint32_t kMostCards = 10000;
constexpr uint32_t kMostSides = 16;
constexpr uint32_t kMostRecords = 4096;
constexpr uint32_t kMostMag = 100;
constexpr uint32_t kSmallestPacket = 16;
constexpr uint32_t kLargestPacket = 64 * 1024 * 1024;
constexpr uint64_t kRecordBytes = 476;
constexpr uint64_t kLargestJob = uint64_t{1} << 30;

struct CMakeJobArguments {
    std::string file;
    sim::JobShape shape;
};

ExitStatus MakeJob(const CMakeJobArguments& arguments, CConsole& console)
{
    const sim::JobShape& shape = arguments.shape;
    const uint64_t records = uint64_t{shape.cards} * shape.sidesPerCard * shape.recordsPerSide;
    if (records * kRecordBytes > kLargestJob) {
        throw CHostError(ExitStatus::Usage, "--cards, --sides, --records: the job would be larger than " +
                                                ByteCount(kLargestJob) + "; ask for less");
    }
    const sim::Job job = sim::BuildJob(shape);
    const std::filesystem::path path = PathFromUtf8(arguments.file);
    WriteWholeFile(path, {reinterpret_cast<const char*>(job.bytes.data()), job.bytes.size()});
    console.Message(DisplayPath(path) + ": " + CardCountText(static_cast<int>(job.cards)) + ", " +
                    ByteCount(job.bytes.size()));
    return ExitStatus::Done;
}

CLI::Option* AddNumber(CLI::App& command, const std::string& name, uint32_t& value, uint32_t least,
                       uint32_t most, const std::string& help)
{
    return command.add_option(name, value, help)
        ->type_name("N")
        ->check(CLI::Range(least, most))
        ->capture_default_str();
}

} // namespace

void AddMakeJobCommand(CLI::App& line, RunCommand* chosen)
{
    CLI::App* command = line.add_subcommand("make-job", "Write a sample job");
    const auto arguments = std::make_shared<CMakeJobArguments>();
    sim::JobShape& shape = arguments->shape;
    command->add_option("FILE", arguments->file, "Where the job is written")->required();
    AddNumber(*command, "--cards", shape.cards, 1, kMostCards, "Cards in the job")->required();
    AddNumber(*command, "--sides", shape.sidesPerCard, 1, kMostSides, "Sides of a card");
    AddNumber(*command, "--records", shape.recordsPerSide, 1, kMostRecords, "Records of a side");
    AddNumber(*command, "--mag", shape.magPerCard, 0, kMostMag, "Magnetic-stripe commands of a card");
    AddNumber(*command, "--packet", shape.payloadBytes, kSmallestPacket, kLargestPacket,
              "Bytes of a packet, as far as whole units fit");
    AddNumber(*command, "--tail", shape.tailBytes, 0, 3, "Filling bytes at the end of a packet");
    command->add_flag("--cut-records", shape.cutRecords, "Fill packets to the last byte, through records");
    command->add_flag("--tricky", shape.trickyBodies, "Pictures that look like commands");
    command->add_flag("--unframed{false}", shape.framed, "Bare commands, without packets");
    command->add_option("--seed", shape.seed, "Of the pictures")->type_name("N")->capture_default_str();
    command->callback([arguments, chosen] {
        *chosen = [arguments](CHostEnvironment&, CConsole& console) { return MakeJob(*arguments, console); };
    });
}

} // namespace zrtmon::host
