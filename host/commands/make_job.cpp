#include <memory>

#include "host/commands/commands.h"
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

COption Number(const char* name, uint32_t& value, uint32_t least, uint32_t most, const char* help)
{
    return {.name = name, .target = &value, .help = help, .form = "N", .least = least, .most = most};
}

std::vector<COption> Options(CMakeJobArguments& arguments)
{
    sim::JobShape& shape = arguments.shape;
    std::vector<COption> options = {
        {.name = "FILE", .target = &arguments.file, .help = "File to write the job to", .required = true},
        Number("--cards", shape.cards, 1, kMostCards, "Cards in the job"),
        Number("--sides", shape.sidesPerCard, 1, kMostSides, "Sides per card"),
        Number("--records", shape.recordsPerSide, 1, kMostRecords, "Records per side"),
        Number("--mag", shape.magPerCard, 0, kMostMag, "Magnetic-stripe commands per card"),
        Number("--packet", shape.payloadBytes, kSmallestPacket, kLargestPacket,
               "Largest payload of a packet in bytes; holds whole units only"),
        Number("--tail", shape.tailBytes, 0, 3, "Padding bytes at the end of a packet"),
        {.name = "--cut-records",
         .target = &shape.cutRecords,
         .help = "Fill packets to the last byte, splitting records"},
        {.name = "--tricky",
         .target = &shape.trickyBodies,
         .help = "Pictures whose bytes look like commands"},
        {.name = "--unframed", .target = &shape.framed, .help = "Bare commands without packets"},
        {.name = "--seed",
         .target = &shape.seed,
         .help = "Random seed for the pictures",
         .form = "N",
         .most = UINT64_MAX}};
    options[1].required = true;
    return options;
}

} // namespace

CCommand MakeJobCommand()
{
    const auto arguments = std::make_shared<CMakeJobArguments>();
    return {
        .name = "make-job",
        .help = "Write a sample job",
        .options = Options(*arguments),
        .run = [arguments](CHostEnvironment&, CConsole& console) { return MakeJob(*arguments, console); }};
}

} // namespace zrtmon::host
