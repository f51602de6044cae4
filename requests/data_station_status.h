#pragma once

#include "requests/data_send_command.h"

namespace zrtmon {

/// What bay 1 reports about a station: "StationStatus/<n>", the head of a chain with bay 2. Reply: "Bay1:", a
/// station code, ",", a state code. Text: the state as a number, or "-1" if the bay does not hold that
/// station. Fails for a station number outside 0 to 5 and for a reply without ",".
class CDataStationStatus : public CDataSendCommand {
public:
    const uint8_t* GetCommand(uint32_t* length) override;
    /// Prepares the whole chain with the text.
    BOOL Prepare(const wchar_t* requestText) override;
    uint32_t GetReceiveMethod() override { return kReceiveFromPort; }
    BOOL Parse() override;

protected:
    /// Drops the first characters of a reply that contains the prefix, as many as the prefix has: a reply
    /// opens with it.
    void DropPrefix(std::string_view prefix);
};

/// What bay 2 reports, and which bay's reply is used: bay 2's if it holds the station, otherwise bay 1's. The
/// other text is emptied.
class CDataStationStatusBay2 final : public CDataStationStatus {
public:
    /// bay1 is the head of the chain that owns this object.
    explicit CDataStationStatusBay2(CDataStationStatus* bay1) : m_bay1(bay1) {}

    const uint8_t* GetCommand(uint32_t* length) override;
    BOOL Parse() override;

private:
    CDataStationStatus* m_bay1;
};

} // namespace zrtmon
