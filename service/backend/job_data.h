#pragma once

#include <string>

#include "service/descriptor.h"

namespace zrtmon::backend {

/// Where a job's data comes from.
struct CDataSource {
    std::string fileName; ///< empty: input
    int copies = 1;       ///< of the file
    int input = 0;        ///< read to its end
    int stop = -1;        ///< ends the reading when it becomes readable; input and stop are borrowed
    std::string folder;   ///< for files that live as long as they are open
};

/// The data of a job as a regular file at its beginning, which the service can print even when this program
/// has been killed: the named file itself, or a file without a name that holds its copies or the input. An
/// invalid descriptor if the reading was stopped. Throws std::system_error.
service::CDescriptor OpenJobData(const CDataSource& source);

} // namespace zrtmon::backend
