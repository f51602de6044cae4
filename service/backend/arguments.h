/// What CUPS gives a backend: argv and the environment, by backend(7).
#pragma once

#include <span>
#include <string>

#include "platform/secret.h"
#include "service/backend/device_uri.h"

namespace zrtmon::backend {

/// A job as CUPS hands it over.
struct CPrintRequest {
    CDeviceUri device;
    std::string owner;
    std::string title;
    /// CUPS's identity of the job. It stays the same when CUPS starts a job again, unlike the job's number,
    /// which it gives to another job after a crash. Empty: CUPS gave none.
    std::string uuid;
    int copies = 1;       ///< to be made here; 1 for standard input, whose filter has made them
    std::string fileName; ///< empty: standard input
};

/// Reads "job user title copies options [file]", without the program's name, and the device URI. Throws
/// CBadArgument.
CPrintRequest ReadArguments(std::span<const char* const> arguments, const char* deviceUri);

/// The value of a word in CUPS's list of options ("a=1 b='two words' c"), or empty.
std::string OptionValue(std::string_view options, std::string_view name);

/// Takes the password that CUPS has for the job, UTF-8, out of the environment and overwrites it there, since
/// every process of the same user can read a process's environment. password stays empty if there is none.
void TakePassword(char** environment, CSecret& password);

} // namespace zrtmon::backend
