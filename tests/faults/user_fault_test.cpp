// A system that refuses to switch users, or only half of it, and databases of users and groups that answer late, at
// length or not at all. The definitions here take the place of the C library's for everything that is linked into this
// program: nothing is switched, and nobody needs to be root.

#include <grp.h>
#include <pwd.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/faults.h>
#include <tests/support/next_definition.h>
#include <tillvane/system/LUser.h>

namespace {

constexpr uid_t kUser = 4711;
constexpr gid_t kUsersGroup = 4712;

using support::FailNoted;

/// Whose process this is, as the system sees it.
struct Identity {
  uid_t real = 0, effective = 0, saved = 0;
  bool refuses_groups = false;  ///< as a container may
  bool refuses_group = false;
  bool refuses_user = false;
  bool root_always_returns = false;
  std::vector<std::string> calls;

  bool IsRoot() const { return effective == 0; }
  bool Has(uid_t user) const { return user == real || user == saved; }
};

/// While it is set, the calls are about it.
Identity* identity = nullptr;

/// What a database answers.
struct Database {
  std::vector<int> errors;  ///< first of all
  std::size_t room = 0;     ///< bytes that an entry takes
  std::map<gid_t, std::string> groups;
  std::string asked_for;  ///< the last name
  int questions = 0;
};
Database* database = nullptr;

long most_groups = 0;
std::optional<std::vector<gid_t>> own_groups;  // nothing: they cannot be asked for

/// \return 0 when there is an answer
int AskDatabase(std::size_t room, const char* call = __builtin_FUNCTION()) {
  ++database->questions;
  if (!database->errors.empty()) {
    const int error = database->errors.front();
    database->errors.erase(database->errors.begin());
    if (error != 0) support::NoteFault(call, error);
    return error;
  }
  return room < database->room ? ERANGE : 0;
}

}  // namespace

extern "C" {

int initgroups(const char* user, gid_t group) {
  identity->calls.push_back("initgroups " + std::string(user) + ' ' + std::to_string(group));
  return identity->IsRoot() && !identity->refuses_groups ? 0 : FailNoted(EPERM);
}

int setgid(gid_t group) noexcept {
  identity->calls.push_back("setgid " + std::to_string(group));
  return identity->IsRoot() && !identity->refuses_group ? 0 : FailNoted(EPERM);
}

int setuid(uid_t user) noexcept {
  identity->calls.push_back("setuid " + std::to_string(user));
  if (identity->refuses_user || (!identity->IsRoot() && !identity->Has(user))) return FailNoted(EPERM);
  if (identity->IsRoot()) identity->real = identity->saved = user;
  identity->effective = user;
  return 0;
}

int seteuid(uid_t user) noexcept {
  identity->calls.push_back("seteuid " + std::to_string(user));
  if (!identity->IsRoot() && !identity->Has(user) && !identity->root_always_returns) return FailNoted(EPERM);
  identity->effective = user;
  return 0;
}

int setreuid(uid_t real, uid_t effective) noexcept {
  identity->calls.push_back("setreuid " + std::to_string(real) + ' ' + std::to_string(effective));
  if (!identity->IsRoot() && !(identity->Has(real) && identity->Has(effective))) return FailNoted(EPERM);
  identity->real = real;
  identity->effective = identity->saved = effective;
  return 0;
}

int setregid(gid_t real, gid_t effective) noexcept {
  identity->calls.push_back("setregid " + std::to_string(real) + ' ' + std::to_string(effective));
  return FailNoted(EPERM);
}

gid_t getgid() noexcept { return kUsersGroup; }
uid_t getuid() noexcept { return identity != nullptr ? identity->real : 0; }
uid_t geteuid() noexcept { return identity != nullptr ? identity->effective : 0; }

int getpwnam_r(const char* name, passwd* entry, char*, size_t room, passwd** found) {
  database->asked_for = name;
  *found = nullptr;
  if (const int error = AskDatabase(room)) return error;
  static char user_name[] = "user";
  entry->pw_name = user_name;
  entry->pw_uid = std::strcmp(name, "user") == 0 ? kUser : 0;
  entry->pw_gid = std::strcmp(name, "user") == 0 ? kUsersGroup : 0;
  if (std::strcmp(name, "user") == 0 || std::strcmp(name, "root") == 0) *found = entry;
  return 0;
}

int getgrgid_r(gid_t number, group* entry, char*, size_t room, group** found) {
  *found = nullptr;
  if (const int error = AskDatabase(room)) return error;
  const auto position = database->groups.find(number);
  if (position == database->groups.end()) return 0;
  entry->gr_name = position->second.data();
  *found = entry;
  return 0;
}

long sysconf(int name) noexcept {
  if (name == _SC_NGROUPS_MAX) return most_groups;
  return support::Next(&sysconf, "sysconf")(name);
}

int getgroups(int size, gid_t* groups) noexcept {
  if (!own_groups.has_value()) return FailNoted(EINVAL);
  const int count = static_cast<int>(own_groups->size());
  if (size == 0) return count;
  if (size < count) return FailNoted(EINVAL);
  std::copy(own_groups->begin(), own_groups->end(), groups);
  return count;
}

}  // extern "C"

namespace {

/// A variable of the environment; nothing takes it away. It stays for this process, which is the test's own.
void SetVariable(const char* name, const std::optional<std::string>& value) {
  if (value.has_value()) {
    setenv(name, value->c_str(), 1);
  } else {
    unsetenv(name);
  }
}

class UserFaults : public testing::Test {
 protected:
  UserFaults() {
    identity = &identity_;
    database = &database_;
    SetVariable("LOGNAME", "user");
    SetVariable("USER", {});
    most_groups = 65536;
    own_groups = std::vector<gid_t>();
  }
  ~UserFaults() override {
    identity = nullptr;
    database = nullptr;
  }

  /// The identity's three users.
  std::vector<uid_t> Users() const { return {identity_.real, identity_.effective, identity_.saved}; }

  const std::vector<uid_t> all_user_{kUser, kUser, kUser};
  const std::vector<uid_t> all_root_{0, 0, 0};
  Identity identity_;
  Database database_;
};

using Calls = std::vector<std::string>;

// --- Switching ---

TEST_F(UserFaults, RootLeavesItsGroupsThenItsGroupThenItself) {
  EXPECT_TRUE(LSwitchToUser());
  EXPECT_EQ(identity_.calls, (Calls{"initgroups user 4712", "setgid 4712", "setuid 4711", "seteuid 0"}));
  EXPECT_EQ(Users(), all_user_);
}

TEST_F(UserFaults, RootThatCannotLeaveItsGroupsStaysRoot) {
  identity_.refuses_groups = true;
  EXPECT_FALSE(LSwitchToUser());
  EXPECT_EQ(Users(), all_root_);
  identity_.refuses_groups = false;
  identity_.refuses_group = true;
  EXPECT_FALSE(LSwitchToUser());
  EXPECT_EQ(Users(), all_root_);
  for (const std::string& call : identity_.calls) EXPECT_NE(call, "setuid 4711");
}

TEST_F(UserFaults, RootThatCannotLeaveItselfIsNotSwitched) {
  identity_.refuses_user = true;
  EXPECT_FALSE(LSwitchToUser());
  EXPECT_EQ(Users(), all_root_);
  EXPECT_EQ(identity_.calls.back(), "setuid 4711");
}

TEST_F(UserFaults, RootsOwnRightsMayStay) {
  SetVariable("LOGNAME", "root");
  identity_.refuses_groups = true;
  EXPECT_TRUE(LSwitchToUser());
  EXPECT_EQ(identity_.calls.back(), "setuid 0");
  EXPECT_EQ(Users(), all_root_);
}

TEST_F(UserFaults, RightsThatWereOnlyLentOutAreGivenUp) {
  struct Case {
    uid_t real, effective, saved;
  };
  for (const Case& one : {Case{kUser, kUser, 0}, Case{0, kUser, kUser}, Case{kUser, 0, 0}}) {
    SCOPED_TRACE(testing::Message() << one.real << ' ' << one.effective << ' ' << one.saved);
    identity_.real = one.real;
    identity_.effective = one.effective;
    identity_.saved = one.saved;
    identity_.calls.clear();
    EXPECT_TRUE(LSwitchToUser());
    EXPECT_EQ(Users(), all_user_);
    EXPECT_EQ(identity_.calls.back(), "seteuid 0");
    EXPECT_NE(std::find(identity_.calls.begin(), identity_.calls.end(), "setgid 4712"), identity_.calls.end());
  }
}

// They do not come back where the system refuses the rest either.
TEST_F(UserFaults, RightsThatCannotBeGivenUpAreNotTakenUp) {
  struct Case {
    uid_t real, effective, saved;
    bool refuses_groups, refuses_group;
  };
  for (const Case& one : {Case{kUser, kUser, 0, true, false}, Case{kUser, kUser, 0, false, true},
                          Case{0, kUser, kUser, true, false}, Case{0, kUser, kUser, false, true}}) {
    SCOPED_TRACE(testing::Message() << one.real << ' ' << one.effective << ' ' << one.saved);
    identity_ = {};
    identity_.real = one.real;
    identity_.effective = one.effective;
    identity_.saved = one.saved;
    identity_.refuses_groups = one.refuses_groups;
    identity_.refuses_group = one.refuses_group;
    EXPECT_FALSE(LSwitchToUser());
    EXPECT_EQ(identity_.effective, kUser);
  }
}

TEST_F(UserFaults, AnOrdinaryProcessKeepsNobodyElseInReserve) {
  identity_.real = identity_.effective = kUser;
  identity_.saved = kUser + 1;
  EXPECT_TRUE(LSwitchToUser());
  EXPECT_EQ(Users(), all_user_);
  EXPECT_NE(std::find(identity_.calls.begin(), identity_.calls.end(), "setregid 4712 4712"), identity_.calls.end());
}

// The system lets it become again what it was, but not what it is.
TEST_F(UserFaults, RootThatActsAsSomebodyIsNotSwitched) {
  identity_.effective = kUser;
  EXPECT_FALSE(LSwitchToUser());
  EXPECT_EQ(Users(), (std::vector<uid_t>{0, kUser, 0}));
}

TEST_F(UserFaults, WhereRootAlwaysReturnsTheAnswerSaysSo) {
  identity_.root_always_returns = true;
  EXPECT_FALSE(LSwitchToUser());
  // It does not act as root all the same.
  EXPECT_EQ(Users(), all_user_);
}

TEST_F(UserFaults, AnOrdinaryUserBecomesWhoItIs) {
  identity_.real = identity_.effective = identity_.saved = kUser;
  EXPECT_TRUE(LSwitchToUser());
  EXPECT_EQ(Users(), all_user_);
  SetVariable("LOGNAME", "root");
  EXPECT_FALSE(LSwitchToUser());
  EXPECT_EQ(Users(), all_user_);
  EXPECT_FALSE(LSwitchToRoot());
  identity_.real = identity_.effective = identity_.saved = kUser + 1;
  SetVariable("LOGNAME", "user");
  EXPECT_FALSE(LSwitchToUser());
}

TEST_F(UserFaults, WhoHasRootsRightsBecomesRoot) {
  struct Case {
    uid_t real, effective, saved;
  };
  for (const Case& one : {Case{0, 0, 0}, Case{0, kUser, kUser}, Case{kUser, kUser, 0}, Case{kUser, 0, 0}}) {
    identity_.real = one.real;
    identity_.effective = one.effective;
    identity_.saved = one.saved;
    EXPECT_TRUE(LSwitchToRoot());
    EXPECT_EQ(identity_.effective, 0u);
  }
  EXPECT_EQ(identity_.calls, Calls(4, "setuid 0"));
}

// --- Whom to become ---

TEST_F(UserFaults, TheLoginsNameIsAskedFor) {
  const std::string longest(259, 'x');
  const std::string umlauts = std::string(258, 'x') + "\xC3\xA4";
  struct Case {
    std::optional<std::string> login, user;
    std::string asked_for;
  };
  const Case cases[] = {
      {"user", {}, "user"},
      {"user", "root", "user"},
      {{}, "user", "user"},
      {"", "user", ""},
      {{}, {}, ""},
      {"nobody like this", {}, "nobody like this"},
      {"../user\n", {}, "../user\n"},
      {longest, {}, longest},
      {longest + "x", {}, longest},
      {std::string(100000, 'x'), {}, longest},
      {{}, std::string(260, 'x'), longest},
      // A character that does not fit whole goes.
      {umlauts, {}, std::string(258, 'x')},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(testing::PrintToString(one.login) + " or " + testing::PrintToString(one.user));
    identity_ = {};
    SetVariable("LOGNAME", one.login);
    SetVariable("USER", one.user);
    EXPECT_EQ(LSwitchToUser(), one.asked_for == "user");
    EXPECT_EQ(database_.asked_for, one.asked_for);
    EXPECT_EQ(Users(), one.asked_for == "user" ? all_user_ : all_root_);
  }
}

TEST_F(UserFaults, AnEntryIsAskedForAgainUntilThereIsRoom) {
  struct Case {
    std::vector<int> errors;
    std::size_t room;
    bool is_found;
    int questions;
  };
  const Case cases[] = {
      {{}, 1024, true, 1},
      {{}, 1025, true, 2},
      {{}, 1000000, true, 11},
      {{ERANGE, EINTR, ERANGE}, 0, true, 4},
      {{EIO}, 0, false, 1},
      {{ENOMEM}, 0, false, 1},
      {{EMFILE}, 0, false, 1},
      {{ERANGE, EIO}, 0, false, 2},
      // It does not come to an end: at 64 MiB nobody asks any more.
      {std::vector<int>(100, ERANGE), 0, false, 17},
      {std::vector<int>(100, EINTR), 0, false, 17},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(testing::Message() << testing::PrintToString(one.errors) << ' ' << one.room);
    identity_ = {};
    database_ = {one.errors, one.room, {}, {}, 0};
    EXPECT_EQ(LSwitchToUser(), one.is_found);
    EXPECT_EQ(database_.questions, one.questions);
    EXPECT_EQ(Users(), one.is_found ? all_user_ : all_root_);
  }
}

// --- Root and administrators ---

TEST_F(UserFaults, WhoIsRoot) {
  struct Case {
    uid_t real, effective;
    std::optional<std::string> user;
    bool is_root;
  };
  const Case cases[] = {
      {0, 0, {}, true},
      {0, kUser, "user", true},
      {kUser, 0, "user", false},
      {kUser, kUser, {}, false},
      {kUser, kUser, "", false},
      {kUser, kUser, "user", false},
      {kUser, kUser, "root", true},
      {kUser, kUser, "Root", false},
      {kUser, kUser, "root ", false},
      {kUser, kUser, "roo", false},
      {kUser, kUser, "rootx", false},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(testing::Message() << one.real << ' ' << one.effective << ' ' << testing::PrintToString(one.user));
    identity_.real = one.real;
    identity_.effective = one.effective;
    SetVariable("USER", one.user);
    EXPECT_EQ(LIsUserRoot(), one.is_root);
    EXPECT_EQ(LIsUserAdministrator(), one.is_root);
    EXPECT_EQ(LIsUserRunningAsAdministrator(), one.is_root);
  }
}

TEST_F(UserFaults, WhoIsAdministrator) {
  struct Case {
    long most;
    std::optional<std::vector<gid_t>> groups;
    bool answer;
    int questions;
  };
  const Case cases[] = {
      {65536, {{7}}, true, 1},
      {65536, {{1, 2, 7, 3}}, true, 3},
      {65536, {{1, 2, 3}}, false, 3},
      // Groups without an entry are not the last ones.
      {65536, {{99, 98, 7}}, true, 3},
      {65536, {{4, 5, 6, 8}}, false, 4},
      {65536, {{}}, false, 0},
      {65536, {}, false, 0},
      {1, {{7}}, true, 1},
      {1, {{1, 7}}, false, 0},
      {0, {{7}}, false, 0},
      {-1, {{7}}, false, 0},
  };
  identity_.real = identity_.effective = kUser;
  for (const Case& one : cases) {
    SCOPED_TRACE(testing::Message() << one.most << ' ' << testing::PrintToString(one.groups));
    database_ = {{},
                 0,
                 {{0, "wheel"},
                  {1, "sudo"},
                  {2, "adm"},
                  {3, "root"},
                  {4, "Admin"},
                  {5, "admin "},
                  {6, ""},
                  {7, "admin"},
                  {8, "admins"}},
                 {},
                 0};
    most_groups = one.most;
    own_groups = one.groups;
    EXPECT_EQ(LIsUserAdministrator(), one.answer);
    EXPECT_EQ(database_.questions, one.questions);
    EXPECT_EQ(LIsUserRunningAsAdministrator(), one.answer);
  }
}

TEST_F(UserFaults, AGroupThatCannotBeLookedUpIsSkipped) {
  identity_.real = identity_.effective = kUser;
  own_groups = std::vector<gid_t>{7, 7, 7};
  database_.groups = {{7, "admin"}};
  database_.errors = {EIO, EMFILE};
  EXPECT_TRUE(LIsUserAdministrator());
  database_.errors = {EIO, EMFILE, ENOMEM};
  EXPECT_FALSE(LIsUserAdministrator());
  // A group of many members.
  database_.room = 3000000;
  EXPECT_TRUE(LIsUserAdministrator());
}

}  // namespace
