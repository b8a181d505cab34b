#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <tillvane/platform/linux/store_ledger_linux.h>

/// \file
/// A process at a ledger that does as it is told: each line of its standard input is a command with its words, each is
/// answered with one line: what there is to say after "true", or the error after "false". It ends with its input.

namespace {

using platform::StoreLedger;
using platform::StoreTransaction;
using platform::TransactionState;

std::unique_ptr<StoreLedger> ledger;

std::string Answered(bool done, const std::string& answer = {}) {
  if (!done) return "false " + ledger->Error();
  return answer.empty() ? "true" : "true " + answer;
}

std::string OfSystem(bool done) { return done ? "true" : std::string("false ") + std::strerror(errno); }

std::string Listed(bool done, const std::vector<StoreTransaction>& transactions) {
  std::string text;
  for (const auto& transaction : transactions) {
    if (!text.empty()) text += ' ';
    text += std::to_string(transaction.id) + ':' + transaction.product + ':' +
            std::to_string(static_cast<int>(transaction.state));
  }
  return Answered(done, text);
}

std::string Open(std::istream& words) {
  std::string folder;
  int timeout = StoreLedger::kBusyTimeoutMs;
  words >> folder >> timeout;
  ledger = std::make_unique<StoreLedger>(folder, timeout);
  return "true";
}

std::string Close(std::istream&) {
  ledger.reset();
  return "true";
}

std::string Begin(std::istream& words) {
  std::string product;
  words >> product;
  StoreTransaction transaction;
  const bool begun = ledger->Begin(product, true, &transaction);
  return Answered(begun, std::to_string(transaction.id));
}

std::string Settle(std::istream& words) {
  long long id = 0;
  int state = 0;
  words >> id >> state;
  StoreTransaction transaction;
  return Answered(ledger->Settle(id, static_cast<TransactionState>(state), 0, &transaction));
}

std::string Buy(std::istream& words) {
  std::string product;
  words >> product;
  StoreTransaction transaction;
  const bool bought = ledger->Begin(product, true, &transaction) &&
                      ledger->Settle(transaction.id, TransactionState::kPurchased, 0, &transaction);
  return Answered(bought, std::to_string(transaction.id));
}

std::string Finish(std::istream& words) {
  long long id = 0;
  words >> id;
  return Answered(ledger->Finish(id));
}

std::string Take(std::istream&) {
  std::vector<StoreTransaction> transactions;
  const bool done = ledger->TakeUnfinished(&transactions);
  return Listed(done, transactions);
}

std::string Restore(std::istream&) {
  std::vector<StoreTransaction> transactions;
  const bool done = ledger->Restore(&transactions);
  return Listed(done, transactions);
}

std::string Decide(std::istream& words) {
  int approve = 0;
  words >> approve;
  std::vector<StoreTransaction> transactions;
  const bool done = ledger->DecideDeferred(approve != 0, &transactions);
  return Listed(done, transactions);
}

/// Written at once: what was said before a kill has been said.
void Say(const std::string& line) {
  const std::string text = line + '\n';
  if (write(STDOUT_FILENO, text.data(), text.size()) != static_cast<ssize_t>(text.size())) _exit(3);
}

/// Buys one product after the other and tells of every step. A line of input, or its end, is the end.
std::string Shop(std::istream& words) {
  int rounds = 0;
  words >> rounds;
  for (int i = 0; i < rounds; ++i) {
    StoreTransaction transaction;
    const std::string product = "p" + std::to_string(i % 3);
    if (!ledger->Begin(product, true, &transaction)) return Answered(false);
    const std::string id = ' ' + std::to_string(transaction.id);
    Say("begun" + id);
    if (!ledger->Settle(transaction.id, TransactionState::kPurchased, 0, &transaction)) return Answered(false);
    Say("purchased" + id);
    if (i % 2 == 0) continue;
    Say("finishing" + id);
    if (!ledger->Finish(transaction.id)) return Answered(false);
    Say("finished" + id);
  }
  return "true";
}

/// Asks for each, since looking at a folder needs a descriptor.
std::string CountDescriptors(std::istream&) {
  int count = 0;
  for (int descriptor = 0; descriptor < 256; ++descriptor) count += fcntl(descriptor, F_GETFD) >= 0 ? 1 : 0;
  return "true " + std::to_string(count);
}

std::string LimitDescriptors(std::istream& words) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  words >> limit.rlim_cur;
  return OfSystem(setrlimit(RLIMIT_NOFILE, &limit) == 0);
}

std::string LimitFileSize(std::istream& words) {
  signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  limit.rlim_cur = limit.rlim_max;
  words >> limit.rlim_cur;
  return OfSystem(setrlimit(RLIMIT_FSIZE, &limit) == 0);
}

std::string BecomeUser(std::istream& words) {
  uid_t user = 0;
  words >> user;
  const bool done = setresgid(user, user, user) == 0 && setresuid(user, user, user) == 0;
  // A leak checker looks at its own process from outside.
  return OfSystem(done && prctl(PR_SET_DUMPABLE, 1) == 0);
}

void WriteText(const char* path, const std::string& text) { std::ofstream(path) << text; }

/// From here on mounts are seen by this process alone.
bool HaveOwnMounts() {
  const std::string user = "0 " + std::to_string(geteuid()) + " 1";
  const std::string group = "0 " + std::to_string(getegid()) + " 1";
  if (unshare(CLONE_NEWNS) != 0) {
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    WriteText("/proc/self/setgroups", "deny");
    WriteText("/proc/self/uid_map", user);
    WriteText("/proc/self/gid_map", group);
  }
  return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

std::string MountSmall(std::istream& words) {
  std::string folder;
  std::string size;
  words >> folder >> size;
  const std::string options = "size=" + size + ",mode=0700";
  return OfSystem(HaveOwnMounts() && mount("none", folder.c_str(), "tmpfs", 0, options.c_str()) == 0);
}

std::string MountReadOnly(std::istream& words) {
  std::string folder;
  words >> folder;
  return OfSystem(HaveOwnMounts() && mount(folder.c_str(), folder.c_str(), nullptr, MS_BIND, nullptr) == 0 &&
                  mount("none", folder.c_str(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr) == 0);
}

std::string MountWritable(std::istream& words) {
  std::string folder;
  words >> folder;
  return OfSystem(mount("none", folder.c_str(), nullptr, MS_BIND | MS_REMOUNT, nullptr) == 0);
}

/// Fills a disk with one file, up to so many bytes left.
std::string Fill(std::istream& words) {
  std::string path;
  off_t left = 0;
  words >> path >> left;
  const int file = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  const std::string block(4096, 'x');
  off_t size = 0;
  for (ssize_t written; (written = write(file, block.data(), block.size())) > 0;) size += written;
  const bool full = file >= 0 && errno == ENOSPC;
  const bool cut = full && ftruncate(file, size > left ? size - left : 0) == 0;
  close(file);
  return OfSystem(cut);
}

std::string Remove(std::istream& words) {
  std::string path;
  words >> path;
  return OfSystem(unlink(path.c_str()) == 0);
}

using Command = std::function<std::string(std::istream&)>;

const std::map<std::string, Command> kCommands = {
    {"open", Open},
    {"close", Close},
    {"begin", Begin},
    {"settle", Settle},
    {"buy", Buy},
    {"finish", Finish},
    {"take", Take},
    {"restore", Restore},
    {"decide", Decide},
    {"shop", Shop},
    {"descriptors", CountDescriptors},
    {"limit-descriptors", LimitDescriptors},
    {"limit-file-size", LimitFileSize},
    {"user", BecomeUser},
    {"mount-small", MountSmall},
    {"mount-read-only", MountReadOnly},
    {"mount-writable", MountWritable},
    {"fill", Fill},
    {"remove", Remove},
};

}  // namespace

int main() {
  for (std::string line; std::getline(std::cin, line);) {
    std::istringstream words(line);
    std::string name;
    words >> name;
    const auto command = kCommands.find(name);
    Say(command != kCommands.end() ? command->second(words) : "false no command: " + name);
  }
  ledger.reset();
  return 0;
}
