#include "simulator/job_builder.h"

#include <algorithm>
#include <iterator>
#include <random>
#include <string_view>

namespace zrtmon::sim {

namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint8_t kEscByte = 0x1B;
constexpr uint8_t kMarker = 0x8F;
constexpr size_t kBodyBytes = 474;
constexpr size_t kNotAtAll = SIZE_MAX;
constexpr uint32_t kLongestTail = 3;
constexpr uint8_t kTailByte = 0x20;
constexpr std::string_view kOtherLetters = "FGLOQUVWklou";

/// Bytes that belong together.
struct Unit {
    Bytes bytes;
    size_t cutFrom = kNotAtAll; ///< may be cut after that many bytes, or anywhere later
    bool endsPacket = false;
    bool endsCard = false;
};

/// Evenly spread numbers; the same on every system.
class CRandom {
public:
    explicit CRandom(uint64_t seed) : m_engine(seed) {}
    uint32_t Between(uint32_t low, uint32_t high)
    {
        return low + static_cast<uint32_t>(m_engine() % (uint64_t{high} - low + 1));
    }
    uint64_t Word() { return m_engine(); }
    uint8_t Byte() { return static_cast<uint8_t>(m_engine()); }
    bool OneIn(uint32_t n) { return Between(1, n) == 1; }

private:
    std::mt19937_64 m_engine;
};

void Append(Bytes& to, const Bytes& bytes) { to.insert(to.end(), bytes.begin(), bytes.end()); }

Bytes Command(std::string_view letters)
{
    Bytes bytes = {kEscByte, 0x00, 0x02};
    for (const char letter : letters) {
        bytes.push_back(static_cast<uint8_t>(letter));
    }
    return bytes;
}

/// What looks like a packet header, a command or a record in the middle of a picture.
const Bytes kTraps[] = {
    {kEscByte, '_', 0, 0, 0, 0, 1, 0},
    {kEscByte, 0, 2, 'C', kMarker},
    {kEscByte, 0, 2, 'j'},
    {kEscByte, 0, 2, 'X', 'Z'},
    {kEscByte, 0, 2, 0x80},
    {kMarker, 0, kMarker, 0},
    {kEscByte, 0, 2, 'J'},
    {kEscByte, 0, 2, 'm', 1, 0, 9},
    {kEscByte},
};

class CJobMaker {
public:
    explicit CJobMaker(const JobShape& shape) : m_shape(shape), m_random(shape.seed) {}

    std::vector<Unit> MakeUnits()
    {
        if (m_shape.startCommand) {
            m_units.push_back({.bytes = Command("J")});
        }
        for (uint32_t card = 0; card < m_shape.cards; ++card) {
            AddCard();
        }
        if (m_shape.endCommand) {
            m_units.push_back({.bytes = Command("XZ"), .endsPacket = true});
        }
        return std::move(m_units);
    }

private:
    void AddCard()
    {
        for (uint32_t i = 0; i < m_shape.magPerCard; ++i) {
            m_units.push_back({.bytes = MagCommand(i)});
        }
        for (uint32_t i = 0; i < m_shape.otherPerCard; ++i) {
            const char letter = kOtherLetters[m_random.Between(0, std::size(kOtherLetters) - 1)];
            m_units.push_back({.bytes = Command(std::string_view(&letter, 1))});
        }
        for (uint32_t side = 0; side < m_shape.sidesPerCard; ++side) {
            AddSide(static_cast<uint8_t>(side));
        }
        m_units.push_back({.bytes = Command("j"), .endsPacket = true, .endsCard = true});
    }

    Bytes MagCommand(uint32_t track)
    {
        Bytes bytes = Command("m");
        const uint32_t length = m_random.Between(0, 80);
        Append(bytes, {static_cast<uint8_t>('1' + track % 3), 0, static_cast<uint8_t>(length)});
        std::generate_n(std::back_inserter(bytes), length,
                        [&] { return static_cast<uint8_t>(m_random.Between('0', 'Z')); });
        return bytes;
    }

    void AddSide(uint8_t side)
    {
        Unit first{.bytes = Command("C")};
        std::generate_n(std::back_inserter(first.bytes), m_shape.parameterBytes,
                        [&] { return static_cast<uint8_t>(m_random.Between('0', 'z')); });
        first.cutFrom = first.bytes.size() + 1;
        Append(first.bytes, Record(side));
        m_units.push_back(std::move(first));
        for (uint32_t i = 1; i < m_shape.recordsPerSide; ++i) {
            m_units.push_back({.bytes = Record(side), .cutFrom = 1});
        }
    }

    /// A line of a picture: a slope with a little noise.
    Bytes Record(uint8_t side)
    {
        Bytes bytes = {kMarker, side};
        bytes.reserve(bytes.size() + kBodyBytes);
        const uint8_t base = m_random.Byte();
        uint64_t noise = 0; // two bits for a byte
        for (size_t x = 0; x < kBodyBytes; ++x) {
            noise = x % 32 == 0 ? m_random.Word() : noise >> 2;
            bytes.push_back(static_cast<uint8_t>(base + x / 4 + noise % 4));
        }
        if (m_shape.trickyBodies) {
            const Bytes& trap = kTraps[m_random.Between(0, std::size(kTraps) - 1)];
            const auto at = m_random.Between(2, static_cast<uint32_t>(bytes.size() - trap.size()));
            std::copy(trap.begin(), trap.end(), bytes.begin() + at);
        }
        return bytes;
    }

    const JobShape& m_shape;
    CRandom m_random;
    std::vector<Unit> m_units;
};

/// Fills packets with units.
class CPacker {
public:
    CPacker(const JobShape& shape, Job& job)
        : m_shape(shape), m_limit(std::max(shape.payloadBytes, 1u)), m_job(job)
    {
    }

    void Add(Unit unit)
    {
        while (m_payload.size() + unit.bytes.size() > m_limit) {
            const size_t room = m_limit - std::min(m_payload.size(), m_limit);
            if (m_shape.cutRecords && unit.cutFrom <= room) {
                m_payload.insert(m_payload.end(), unit.bytes.begin(),
                                 unit.bytes.begin() + std::ptrdiff_t(room));
                unit.bytes.erase(unit.bytes.begin(), unit.bytes.begin() + std::ptrdiff_t(room));
                unit.cutFrom = 0;
            } else if (m_payload.empty()) {
                break;
            }
            Flush();
        }
        Append(m_payload, unit.bytes);
        m_takesTail = unit.cutFrom == kNotAtAll;
        if (unit.endsPacket) {
            Flush();
        }
    }

    void Flush()
    {
        if (m_payload.empty()) {
            return;
        }
        if (m_takesTail) {
            m_payload.resize(m_payload.size() + std::min(m_shape.tailBytes, kLongestTail), kTailByte);
        }
        m_job.packetStarts.push_back(m_job.bytes.size());
        const auto size = static_cast<uint32_t>(m_payload.size());
        Append(m_job.bytes, {kEscByte, '_', 0, 0});
        for (const int shift : {24, 16, 8, 0}) {
            m_job.bytes.push_back(static_cast<uint8_t>(size >> shift));
        }
        Append(m_job.bytes, m_payload);
        m_payload.clear();
    }

private:
    const JobShape& m_shape;
    size_t m_limit; ///< payload bytes
    Job& m_job;
    Bytes m_payload;
    bool m_takesTail =
        false; ///< the payload ends with a command: after a record, filling would end the records
};

/// A piece of what a broken sender might send.
Bytes GarbagePiece(CRandom& random)
{
    Bytes piece;
    const auto noise = [&](uint32_t most) {
        std::generate_n(std::back_inserter(piece), random.Between(0, most), [&] { return random.Byte(); });
    };
    switch (random.Between(0, 5)) {
    case 0: // a header whose length has nothing to do with what follows
        piece = {kEscByte, '_', random.Byte(), random.Byte(), 0, 0, random.Byte(), random.Byte()};
        if (random.OneIn(4)) {
            piece[4] = random.Byte();
        }
        piece.resize(random.Between(1, static_cast<uint32_t>(piece.size())));
        break;
    case 1: // a command, known or not, perhaps cut
        piece = {kEscByte, 0, 2, static_cast<uint8_t>("CJjmXAz"[random.Between(0, 6)])};
        piece.resize(random.Between(1, 4));
        noise(12);
        break;
    case 2: { // the inner part of a job
        const Bytes job = RandomJob(random.Between(0, UINT32_MAX)).bytes;
        const auto from = random.Between(0, static_cast<uint32_t>(job.size() - 1));
        const auto size = std::min<size_t>(job.size() - from, random.Between(0, 3000));
        piece.assign(job.begin() + from, job.begin() + from + std::ptrdiff_t(size));
        break;
    }
    case 3:
        piece.assign(random.Between(0, 1200), random.OneIn(2) ? 0 : kMarker);
        break;
    default:
        noise(1500);
        break;
    }
    return piece;
}

} // namespace

Job BuildJob(const JobShape& shape)
{
    Job job;
    job.cards = shape.cards;
    job.records = shape.cards * shape.sidesPerCard * std::max(shape.recordsPerSide, 1u);
    CPacker packer(shape, job);
    for (Unit& unit : CJobMaker(shape).MakeUnits()) {
        const bool endsCard = unit.endsCard;
        if (shape.framed) {
            packer.Add(std::move(unit));
        } else {
            Append(job.bytes, unit.bytes);
        }
        if (endsCard) {
            job.cardEnds.push_back(job.bytes.size());
        }
    }
    packer.Flush();
    return job;
}

JobShape RandomShape(uint64_t seed)
{
    CRandom random(seed);
    JobShape shape;
    shape.cards = random.Between(1, 5);
    shape.sidesPerCard = random.Between(1, 2);
    shape.recordsPerSide = random.OneIn(4) ? random.Between(20, 60) : random.Between(1, 8);
    shape.magPerCard = random.Between(0, 3);
    shape.otherPerCard = random.Between(0, 3);
    shape.parameterBytes = random.Between(0, 64);
    shape.payloadBytes = random.OneIn(2) ? random.Between(64, 1500) : random.Between(1500, 40000);
    shape.tailBytes = random.OneIn(3) ? random.Between(1, kLongestTail) : 0;
    shape.startCommand = !random.OneIn(8);
    shape.endCommand = !random.OneIn(8);
    shape.framed = !random.OneIn(12);
    shape.trickyBodies = shape.framed && random.OneIn(2);
    shape.seed = random.Between(0, UINT32_MAX);
    return shape;
}

Job RandomJob(uint64_t seed) { return BuildJob(RandomShape(seed)); }

std::vector<uint8_t> RandomGarbage(uint64_t seed)
{
    CRandom random(seed);
    Bytes bytes;
    for (uint32_t pieces = random.Between(0, 24); pieces > 0; --pieces) {
        Append(bytes, GarbagePiece(random));
    }
    return bytes;
}

} // namespace zrtmon::sim
