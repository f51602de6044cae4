/// Sample print jobs, made the way the printer driver would, and data that is not a job.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zrtmon::sim {

/// What a job is to look like.
struct JobShape {
    uint32_t cards = 1;
    uint32_t sidesPerCard = 1;    ///< "C" commands in a card
    uint32_t recordsPerSide = 16; ///< at least 1: the first record ends the "C" command
    uint32_t magPerCard = 1;      ///< "m" commands in a card
    uint32_t otherPerCard = 1;    ///< commands with letters that mean nothing to the monitor, in a card
    uint32_t parameterBytes = 12; ///< of a "C" command, before its first record
    uint32_t payloadBytes = 8192; ///< a packet holds as many whole units as fit, and at least one
    uint32_t tailBytes = 0;       ///< 0 to 3: filling at the end of each packet that ends with a command
    bool startCommand = true;     ///< "J" before the cards
    bool endCommand = true;       ///< "X" "Z" after them
    bool cutRecords = false;      ///< packets are filled to the last byte, wherever that cuts a record
    bool framed = true;           ///< in packets; otherwise the bare commands
    bool trickyBodies = false;    ///< record bodies hold what looks like headers and job commands
    uint64_t seed = 1;            ///< of the picture
};

/// A job and where its parts lie.
struct Job {
    std::vector<uint8_t> bytes;
    std::vector<size_t> cardEnds; ///< per card: the offset just past the packet that ends with its "j" (past
                                  ///< the "j" itself when the job is not framed)
    std::vector<size_t> packetStarts; ///< offsets of the packet headers
    uint32_t cards = 0;
    uint32_t records = 0;
};

/// A job of that shape; the same shape gives the same bytes. A packet border follows every "j" and stands
/// before the end-of-job command. A "C" command and the marker that ends it lie in one packet.
Job BuildJob(const JobShape& shape);

/// A shape of random make with whole units in every packet, which makes a valid job.
JobShape RandomShape(uint64_t seed);
/// BuildJob of RandomShape.
Job RandomJob(uint64_t seed);

/// Up to some tens of kilobytes that are not a valid job: noise, pieces of jobs, headers with wrong lengths,
/// command prefixes without commands. May be empty.
std::vector<uint8_t> RandomGarbage(uint64_t seed);

} // namespace zrtmon::sim
