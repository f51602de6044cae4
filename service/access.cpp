#include "service/access.h"

#include <cerrno>
#include <grp.h>
#include <pwd.h>
#include <vector>

namespace zrtmon::service {
namespace {

constexpr size_t kMostRecordBytes = 1 << 20;

struct CRow {
    Right right;
    bool everybody;
    bool printing;
    bool printAdmin;
    bool printSystem;
    bool owner;
    const char* users;
};

// Root may do everything.
constexpr CRow kRows[] = {
    // right                everybody lp     lpadmin uid lp owner
    {Right::SeePrinters, true, true, true, true, true, "everybody"},
    {Right::SeeOwnJobs, true, true, true, true, true, "everybody"},
    {Right::SeeAllJobs, false, false, true, false, false, "members of lpadmin and root"},
    {Right::Query, false, true, true, true, false, "members of lp or lpadmin and root"},
    {Right::Print, false, true, true, true, false, "members of lp or lpadmin and root"},
    {Right::NameOwner, false, false, false, true, false, "the user lp and root"},
    {Right::Perform, false, false, true, false, false, "members of lpadmin and root"},
    {Right::UseStored, false, false, true, false, false, "members of lpadmin and root"},
    {Right::ControlJob, false, false, true, true, true,
     "the job's owner, the user lp, members of lpadmin and root"},
    {Right::SupplyPassword, false, false, true, true, true,
     "the job's owner, the user lp, members of lpadmin and root"},
};

const CRow& Row(Right right) { return kRows[static_cast<size_t>(right)]; }

/// The user database's record, or null; the texts are in buffer.
const passwd* FindUser(uid_t uid, passwd& record, std::vector<char>& buffer)
{
    passwd* found = nullptr;
    while (getpwuid_r(uid, &record, buffer.data(), buffer.size(), &found) == ERANGE &&
           buffer.size() < kMostRecordBytes) {
        buffer.resize(buffer.size() * 2);
    }
    return found;
}

std::vector<gid_t> GroupsOf(const passwd& user)
{
    std::vector<gid_t> groups(64);
    auto count = static_cast<int>(groups.size());
    if (getgrouplist(user.pw_name, user.pw_gid, groups.data(), &count) < 0) {
        groups.resize(static_cast<size_t>(count));
        getgrouplist(user.pw_name, user.pw_gid, groups.data(), &count);
    }
    groups.resize(static_cast<size_t>(count));
    return groups;
}

bool IsIn(const std::vector<gid_t>& groups, const char* name)
{
    group record{};
    group* found = nullptr;
    std::vector<char> buffer(1024);
    while (getgrnam_r(name, &record, buffer.data(), buffer.size(), &found) == ERANGE &&
           buffer.size() < kMostRecordBytes) {
        buffer.resize(buffer.size() * 2);
    }
    for (const gid_t id : groups) {
        if (found && found->gr_gid == id) {
            return true;
        }
    }
    return false;
}

} // namespace

CUser LookUpUser(uid_t uid)
{
    CUser user;
    user.uid = uid;
    user.name = "uid " + std::to_string(uid);
    passwd record{};
    std::vector<char> buffer(1024);
    const passwd* const found = FindUser(uid, record, buffer);
    if (!found) {
        return user;
    }
    user.name = found->pw_name;
    user.isPrintSystem = user.name == "lp";
    const std::vector<gid_t> groups = GroupsOf(*found);
    user.isPrinting = IsIn(groups, "lp");
    user.isPrintAdmin = IsIn(groups, "lpadmin");
    return user;
}

bool IsAllowed(Right right, const CUser& user, const std::string& jobOwner)
{
    const CRow& row = Row(right);
    return user.IsRoot() || row.everybody || (row.printing && user.isPrinting) ||
           (row.printAdmin && user.isPrintAdmin) || (row.printSystem && user.isPrintSystem) ||
           (row.owner && user.name == jobOwner);
}

const char* AllowedUsers(Right right) { return Row(right).users; }

} // namespace zrtmon::service
