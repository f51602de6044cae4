/// The ports of real devices, for the port monitor.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/print_system.h"
#include "simulator/port_device.h"

namespace zrtmon::devices {

/// What is wrong with a port name that is a device's, one line, or empty when nothing is. Where the system
/// has no device ports, that is always something. Any thread.
std::string DeviceNameProblem(const std::wstring& portName);

/// The device of a port name; null when the name has a problem. Any thread.
std::unique_ptr<sim::IPortDevice> MakeDevice(const std::wstring& portName);

/// A device that is connected.
struct CFoundDevice {
    std::string port;  ///< the name of its port
    std::string maker; ///< each empty when the device does not say
    std::string model;
    std::string serial;
    std::string problem; ///< why it may not be opened, and what would make it so; empty if it may
};

/// All devices that the system lists. Opens none. Any thread.
std::vector<CFoundDevice> FindDevices();
/// What a support desk wants to know of the device at that path or, when it is empty, of all USB printers.
/// Opens each to read its device ID. Empty where the system has no device ports. Any thread.
std::vector<CDiagnostic> ExamineDevices(const std::string& path);
/// Advice for a user whose system lists no device: one clause, to end an error line.
std::string NoDeviceAdvice();

} // namespace zrtmon::devices
