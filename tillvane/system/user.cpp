#include <grp.h>
#include <pwd.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include <tillvane/system/LUser.h>
#include <tillvane/text/LCharsets.h>

namespace {

/// A name of 259 bytes, as long as any that the system takes.
constexpr unsigned long kNameSize = 260;

/// An entry of the system's databases of users and groups, and the texts that it points to.
template <class Entry>
class Account {
 public:
  /// \param look_up getpwnam_r and the like
  template <class Key>
  Account(int (*look_up)(Key, Entry*, char*, std::size_t, Entry**), Key key) {
    constexpr std::size_t most_room = std::size_t{64} << 20;
    Entry* found = nullptr;
    int error;
    do {
      room_.resize(room_.size() * 2);
      error = look_up(key, &entry_, room_.data(), room_.size(), &found);
      // A group of many members wants more room, and a directory service may be interrupted.
    } while ((error == ERANGE || error == EINTR) && room_.size() < most_room);
    is_there_ = error == 0 && found != nullptr;
  }

  bool IsThere() const { return is_there_; }
  const Entry* operator->() const { return &entry_; }

 private:
  std::vector<char> room_ = std::vector<char>(512);
  Entry entry_{};
  bool is_there_;
};

const char* LoginName() {
  const char* const name = std::getenv("LOGNAME");
  if (name != nullptr) return name;
  const char* const user = std::getenv("USER");
  return user != nullptr ? user : "";
}

/// Systems differ in whether the call's group has a sign.
template <class Group>
bool TakeGroupsOf(const passwd& user, int (*init_groups)(const char*, Group)) {
  return init_groups(user.pw_name, static_cast<Group>(user.pw_gid)) == 0;
}

bool Become(const passwd& user) {
  const bool has_groups = TakeGroupsOf(user, &initgroups) && setgid(user.pw_gid) == 0;
  // Only root can leave its groups, and must before it leaves itself. An ordinary user has none to lose.
  if (!has_groups && geteuid() == 0 && user.pw_uid != 0) return false;
  return setuid(user.pw_uid) == 0;
}

/// Where it can, it has: the process acts as root then.
bool ComesRootBack() { return seteuid(0) == 0; }

/// Leaves the identities that a process has in reserve: what an ordinary one may do by itself. The user's answer
/// counts; a group that is not to be had was none of root's.
bool DropReserves(uid_t user) {
  const gid_t group = getgid();
  static_cast<void>(setregid(group, group));
  return setreuid(user, user) == 0;
}

/// Becomes a user who is not root, so that root does not come back.
bool BecomeForGood(const passwd& user) {
  const bool was_root = geteuid() == 0;
  if (!Become(user)) return false;
  if (!ComesRootBack()) return was_root || DropReserves(user.pw_uid);
  // It had only lent its rights out, or had one of root's rights by another name. As root it can leave all of them.
  if (Become(user) && !ComesRootBack()) return true;
  // It does not act as root where it did not before, whatever the system refuses.
  Become(user);
  if (geteuid() == 0) static_cast<void>(seteuid(user.pw_uid));
  return false;
}

}  // namespace

bool LSwitchToRoot() { return setuid(0) == 0; }

bool LSwitchToUser() {
  char name[kNameSize];
  utf8strlcpy(name, LoginName(), sizeof name);
  const Account<passwd> user(getpwnam_r, static_cast<const char*>(name));
  if (!user.IsThere()) return false;
  return user->pw_uid == 0 ? Become(*user.operator->()) : BecomeForGood(*user.operator->());
}

bool LIsUserRoot() {
  if (getuid() == 0) return true;
  const char* const user = std::getenv("USER");
  return user != nullptr && std::strcmp(user, "root") == 0;
}

bool LIsUserAdministrator() {
  if (LIsUserRoot()) return true;
  const long most = sysconf(_SC_NGROUPS_MAX);
  // Asked for none, the system would answer how many there are.
  if (most <= 0) return false;
  const auto groups = std::make_unique<gid_t[]>(static_cast<std::size_t>(most));
  const int count = getgroups(static_cast<int>(most), groups.get());
  for (int i = 0; i < count; ++i) {
    const Account<group> entry(getgrgid_r, groups[static_cast<std::size_t>(i)]);
    if (entry.IsThere() && std::strcmp(entry->gr_name, "admin") == 0) return true;
  }
  return false;
}

bool LIsUserRunningAsAdministrator() { return LIsUserAdministrator(); }
