/// Who may do what.
#pragma once

#include <string>
#include <sys/types.h>

namespace zrtmon::service {

/// What a caller wants.
enum class Right {
    SeePrinters, ///< the list, properties and signals
    SeeOwnJobs,
    SeeAllJobs,
    Query,
    Print,
    NameOwner, ///< print for another user
    Perform,
    UseStored,  ///< read and write stored values, and with them settings and policies
    ControlJob, ///< cancel, and acknowledge how it ended
    SupplyPassword,
};

/// A user as the system knows them.
struct CUser {
    uid_t uid = 0;
    std::string name;           ///< "uid 1234" if the system has none for it
    bool isPrintSystem = false; ///< the user lp, as whom the print system's backends run
    bool isPrinting = false;    ///< is in the group lp
    bool isPrintAdmin = false;  ///< is in the group lpadmin

    bool IsRoot() const { return uid == 0; }
};

/// Looks a user and their groups up. Any thread.
CUser LookUpUser(uid_t uid);

/// Whether the user may. jobOwner: of the job concerned, for the rights that owners have.
bool IsAllowed(Right right, const CUser& user, const std::string& jobOwner = {});

/// What the user would have to be, for a message: "members of lpadmin and root".
const char* AllowedUsers(Right right);

} // namespace zrtmon::service
