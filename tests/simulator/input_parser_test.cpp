#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <vector>

#include "simulator/input_parser.h"
#include "simulator/job_builder.h"
#include "tests/simulator/printer_fixture.h"

namespace zrtmon::sim {
namespace {

/// Records what the parser reports. Job data only counts, since it may come in any pieces; the counts are
/// written down where they must not depend on that.
class CTrace final : public IInputEvents {
public:
    void OnHostCommand(std::string_view mnemonic, std::string_view parameters, uint64_t offset) override
    {
        m_text += std::string(mnemonic) + '(' + std::string(parameters) + ')' + At(offset) + Data();
    }
    void OnCancel(uint64_t offset) override { m_text += "cancel" + At(offset); }
    void OnCancelLead(uint64_t offset) override { m_text += "lead" + At(offset); }
    void OnJobCommand(char letter) override { m_text += std::string(1, letter) + ' '; }
    void OnPacket() override { m_text += "packet "; }
    void OnRecord() override { m_text += "record "; }
    void OnJobData(const uint8_t*, size_t size, bool framed) override { (framed ? m_framed : m_raw) += size; }
    void OnViolation(uint64_t offset, const std::string& text) override
    {
        m_text += "[" + text + "]" + At(offset);
    }

    std::string Whole() const { return m_text + Data(); }

private:
    static std::string At(uint64_t offset) { return "@" + std::to_string(offset) + ' '; }
    std::string Data() const { return "<" + std::to_string(m_framed) + "+" + std::to_string(m_raw) + "> "; }

    std::string m_text;
    uint64_t m_framed = 0;
    uint64_t m_raw = 0;
};

/// What the parser reports of a document that comes in these pieces.
std::string TraceOf(const std::vector<std::string_view>& pieces, Interleave interleave = Interleave::Packets)
{
    CTrace trace;
    CInputParser parser(trace, interleave);
    for (const std::string_view piece : pieces) {
        parser.Feed(reinterpret_cast<const uint8_t*>(piece.data()), piece.size());
    }
    parser.EndDocument();
    return trace.Whole();
}

/// Whole, cut in two at every step-th byte from first on, and byte by byte.
void ExpectTheSameHoweverCut(std::string_view bytes, const std::string& trace, size_t first, size_t step)
{
    ASSERT_EQ(trace, TraceOf({bytes}));
    for (size_t cut = first; cut < bytes.size(); cut += step) {
        ASSERT_EQ(trace, TraceOf({bytes.substr(0, cut), bytes.substr(cut)})) << "cut at " << cut;
    }
    std::vector<std::string_view> single;
    for (size_t at = 0; at < bytes.size(); ++at) {
        single.push_back(bytes.substr(at, 1));
    }
    EXPECT_EQ(trace, TraceOf(single));
}

const std::string kZeros512(512, '\0');

std::string JobWithQueries()
{
    return Packet(Command("J") + CardPayload()) + Command("Nr") + Packet(CardPayload() + "ab") +
           Command("TE0,-5T\r") + Packet({}) + Packet(Command("XZ")) + Command("NV");
}

std::string CancelledInARecord()
{
    return Packet(Command("J") + CardPayload()) + Packet(CardPayload()).substr(0, 100) + kZeros512 +
           Command("XC") + Command("Nr") + Packet(CardPayload());
}

TEST(InputParser, ReadsAStreamTheSameHoweverItIsCut)
{
    const struct {
        const char* name;
        std::string bytes;
        std::string trace;
    } streams[] = {
        {"Framed", JobWithQueries(),
         "packet J C record j Nr()@498 <498+0> packet C record j TE(0,-5T\r)@999 <994+0> "
         "packet packet Z NV()@1031 <1015+0> <1015+0> "},
        {"CancelledInARecord", CancelledInARecord(),
         // The zero bytes fill the record and continue as stray bytes, until the cancel explains them.
         "packet J C record j packet C record "
         "[a byte 0x00 is in a packet where a command is expected]@988 cancel@1110 lead@598 Nr()@1115 "
         "<992+0> packet C record j <1486+0> "},
        {"Unframed",
         Command("J") + "pixels" + Command("C") + "\x8F\x1B_no header" + Command("Nr") + Command("j") +
             Command("Q") + Command("XZ") + Command("NV"),
         "J C Nr()@26 <0+26> j Z NV()@44 <0+39> <0+39> "},
        {"CancelBytesInAPicture",
         Packet(Command("C\x8F") + std::string(100, 'x') + Command("XC") + std::string(370, 'x') +
                Command("j")),
         "packet C record j <492+0> "},
        {"MagCommandAndTail",
         Packet(Command("m12") + "\x03" + "abc" + Command("m12") + std::string(1, '\0') + Command("Q") +
                "xyz"),
         "packet m m Q <32+0> "},
        {"PasswordCommands",
         Command("4") + Command("Nr345") + Command("5") + "12345678\xFD" + Command("5") + "12345678" +
             std::string(1, '\0') + "abcdefghijklmnop" + Command("NP"),
         "[the host command Nr is inside a packet or another command]@4 4(" + Command("Nr345") +
             ")@0 <0+0> 5(12345678\xFD)@12 <0+0> 5(12345678" + std::string(1, '\0') + "abcdefghijklmnop" +
             ")@25 <0+0> NP()@54 <0+0> <0+0> "},
        {"ZerosWithoutACancel",
         std::string(20, '\0') + Command("Nr") + Packet(Command("J")) + std::string(3, '\0') + Packet({}) +
             "zz" + Command("Nr"),
         "[20 zero bytes do not precede a cancel command]@0 Nr()@20 <0+20> packet J "
         "[3 zero bytes do not precede a cancel command]@37 packet "
         "[a byte 0x7A is outside the packets of a framed job]@48 Nr()@50 <20+25> <20+25> "},
        {"NothingThatIsKnown",
         Command("Q") + Command("TX") + Packet("?" + Command("J") + "stray") + Command("j"),
         "[unknown command or parameters: ESC 00 02 Q]@0 [unknown command or parameters: ESC 00 02 TX]@4 "
         "packet "
         "[a byte 0x3F is in a packet where a command is expected]@17 J "
         "[a byte 0x73 is in a packet where a command is expected]@22 "
         "[the job command j is outside the packets of a framed job]@27 <18+9> "},
        {"EndsInAPacket", Packet(Command("J") + CardPayload()).substr(0, 300),
         "packet J C [the document ended with 198 payload bytes of a packet missing]@300 <300+0> "},
        {"EndsInAHeader", Packet(Command("J")).substr(0, 5),
         "[the document ended inside a packet header]@5 <0+0> "},
        {"EndsInACommand", Packet(Command("J")) + Command("N"),
         "packet J [a byte 0x1B is outside the packets of a framed job]@12 <12+4> "}};
    for (const auto& [name, bytes, trace] : streams) {
        SCOPED_TRACE(name);
        ExpectTheSameHoweverCut(bytes, trace, 1, 1);
    }
}

TEST(InputParser, SeesAQueryAtEveryPlaceWhereNoneMayBe)
{
    const Job job = BuildJob({.cards = 2, .recordsPerSide = 2, .payloadBytes = 600, .tailBytes = 2});
    const std::string bytes = Text(job.bytes);
    const std::string query = Command("Nr");
    size_t borders = 0;
    for (size_t at = job.packetStarts[1]; at <= bytes.size(); ++at) {
        const std::string trace = TraceOf({bytes.substr(0, at), query, bytes.substr(at)});
        const bool isBorder = at == bytes.size() || std::ranges::count(job.packetStarts, at) > 0;
        borders += isBorder ? 1 : 0;
        ASSERT_EQ(isBorder, trace.find('[') == std::string::npos) << "query at " << at << ": " << trace;
        ASSERT_TRUE(!isBorder || trace.find("Nr()") != std::string::npos) << "query at " << at;
    }
    EXPECT_EQ(job.packetStarts.size(), borders);
}

TEST(InputParser, AcceptsACommandBetweenTwoUnitsOfAPacketAsATransferOfItsOwn)
{
    const std::string bytes = Packet(Command("C10\x8F") + std::string(475, 'x') + Command("J") +
                                     Command("m12\x03") + "abc" + Command("XZ") + "end");
    const std::set<size_t> boundaries = {8, 490, 494, 504, 509, 510, 511};
    const struct {
        std::string transfer;
        std::string trace; ///< up to the offset
        Interleave mildest;
    } rows[] = {{Command("NP"), "NP()", Interleave::Security},
                {Command("NT"), "NT()", Interleave::Security},
                {Command("412345678"), "4(12345678)", Interleave::Security},
                {Command("Nr"), "Nr()", Interleave::Commands},
                {Command("TE0,-5T\r"), "TE(0,-5T\r)", Interleave::Commands},
                {Command("NT") + Command("412345678"), "NT()", Interleave::Security},
                {Command("NT") + Command("Nr"), "NT()", Interleave::Commands}};
    for (const auto& [transfer, trace, mildest] : rows) {
        for (size_t at = 8; at < bytes.size(); ++at) {
            const std::vector<std::string_view> pieces = {std::string_view(bytes).substr(0, at), transfer,
                                                          std::string_view(bytes).substr(at)};
            for (const Interleave mode : {Interleave::Packets, Interleave::Security, Interleave::Commands}) {
                const bool isCarriedOut =
                    TraceOf(pieces, mode).find(trace + '@' + std::to_string(at)) != std::string::npos;
                EXPECT_EQ(mode >= mildest && boundaries.contains(at), isCarriedOut) << trace << " at " << at;
            }
        }
    }
}

TEST(InputParser, TakesAnyOtherTransferInAPacketForJobData)
{
    const std::string bytes = Packet(std::string(40, '?'));
    for (const std::string& transfer :
         {Command("NP") + Command("J"), Command("NP").substr(0, 4), Command("NP?"), Command("J"),
          Command("41234567"), Command("TE0T\rT\r"), Command("TE0")}) {
        const std::string trace =
            TraceOf({bytes.substr(0, 8), transfer, bytes.substr(8)}, Interleave::Commands);
        EXPECT_EQ(std::string::npos, trace.find('(')) << trace;
    }
}

} // namespace
} // namespace zrtmon::sim
