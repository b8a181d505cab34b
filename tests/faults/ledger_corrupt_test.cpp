#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/process/call_tracer.h>
#include <tests/process/ledger_child.h>
#include <tests/support/open_descriptors.h>
#include <tests/support/seeded.h>
#include <tests/support/sqlite_file.h>
#include <tests/support/temp_folder.h>
#include <tillvane/platform/linux/store_ledger_linux.h>

namespace {

namespace fs = std::filesystem;

using platform::StoreLedger;
using platform::StoreTransaction;
using platform::TransactionState;
using support::CallTracer;
using support::IsTrue;
using support::LedgerChild;
using support::RunSql;
using testing::HasSubstr;
using testing::StartsWith;

constexpr std::size_t kPage = 4096;
constexpr int kPurchases = 300;

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

/// Written over what is there: an open file stays the same file.
void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

std::string RandomBytes(std::size_t size) {
  support::Seeded seeded(size);
  std::string bytes(size, '\0');
  std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(seeded.Bits()); });
  return bytes;
}

class LedgerCorruptTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { support::KeepFoldersInMemory(); }

  std::string Path() const { return folder_.File("ledger.sqlite"); }
  std::string Aside(int number = 1) const { return Path() + ".corrupt-" + std::to_string(number); }

  static bool Buy(StoreLedger& ledger, const std::string& product) {
    StoreTransaction transaction;
    return ledger.Begin(product, true, &transaction) &&
           ledger.Settle(transaction.id, TransactionState::kPurchased, 0, &transaction);
  }

  static std::size_t CountOwned(StoreLedger& ledger) {
    std::vector<StoreTransaction> transactions;
    EXPECT_TRUE(ledger.Restore(&transactions)) << ledger.Error();
    return transactions.size();
  }

  /// Another process's, so that its end leaves no trace in this one. \return the ledger file's bytes
  std::string MakeLedger(int purchases = kPurchases, bool killed = false) const {
    {
      LedgerChild child(folder_.Path());
      for (int i = 0; i < purchases; ++i) EXPECT_TRUE(IsTrue(child.Ask("buy p" + std::to_string(i))));
      if (killed) child.Kill();
    }
    return ReadFile(Path());
  }

  void Empty() const {
    for (const auto& entry : fs::directory_iterator(folder_.Path())) fs::remove_all(entry.path());
  }

  /// The first call says what is wrong and where the ledger went; the second one has a new ledger.
  void ExpectSetAside(const std::string& reason) const {
    const std::string damaged = ReadFile(Path());
    const auto before = support::ListOpenDescriptors();
    StoreLedger ledger(folder_.Path());
    EXPECT_FALSE(Buy(ledger, "new"));
    EXPECT_THAT(ledger.Error(), StartsWith(Path() + ": " + reason));
    EXPECT_THAT(ledger.Error(), testing::EndsWith("; it is set aside as " + Aside()));
    EXPECT_EQ(ledger.Error().find('\n'), std::string::npos);
    EXPECT_EQ(support::DescribeChanges(before, support::ListOpenDescriptors()), "");
    EXPECT_TRUE(ReadFile(Aside()) == damaged);
    EXPECT_FALSE(fs::exists(Path()));
    EXPECT_TRUE(Buy(ledger, "new")) << ledger.Error();
    EXPECT_EQ(CountOwned(ledger), 1U);
    EXPECT_TRUE(ReadFile(Aside()) == damaged);
  }

  support::TempFolder folder_;
};

/// Something that happens to a ledger's bytes.
struct Damage {
  const char* name;
  std::string (*apply)(std::string bytes);
  const char* reason;
};

const char kNoDatabase[] = "is corrupt: file is not a database";
const char kFailed[] = "does not pass its check: ";
const char kMalformed[] = "is corrupt: ";

const Damage kDamages[] = {
    {"no header", [](std::string bytes) { return bytes.replace(0, 16, 16, '\0'); }, kNoDatabase},
    {"another page size", [](std::string bytes) { return bytes.replace(16, 2, "\x03\x03"); }, kNoDatabase},
    {"zeroes", [](std::string bytes) { return std::string(bytes.size(), '\0'); }, kNoDatabase},
    {"random bytes", [](std::string bytes) { return RandomBytes(bytes.size()); }, kNoDatabase},
    {"a text", [](std::string) { return std::string("not a ledger at all\n"); }, kNoDatabase},
    {"two bytes", [](std::string) { return std::string("xy"); }, kNoDatabase},
    {"half of it", [](std::string bytes) { return bytes.substr(0, bytes.size() / 2); }, kMalformed},
    {"the header alone", [](std::string bytes) { return bytes.substr(0, 100); }, kMalformed},
    {"no last page", [](std::string bytes) { return bytes.substr(0, bytes.size() - kPage); }, kMalformed},
    {"no schema", [](std::string bytes) { return bytes.replace(100, kPage - 100, kPage - 100, '\xFF'); }, kMalformed},
    {"the schema's table of cells", [](std::string bytes) { return bytes.replace(108, 6, 6, '\xFF'); }, kMalformed},
    {"no table", [](std::string bytes) { return bytes.replace(kPage, kPage, kPage, '\0'); }, kFailed},
    {"a random second page", [](std::string bytes) { return bytes.replace(kPage, kPage, RandomBytes(kPage)); },
     kFailed},
    {"no first index", [](std::string bytes) { return bytes.replace(2 * kPage, kPage, kPage, '\0'); }, kFailed},
    {"a page in the middle",
     [](std::string bytes) { return bytes.replace(bytes.size() / kPage / 2 * kPage, kPage, kPage, '\xFF'); }, kFailed},
    {"a random last page",
     [](std::string bytes) { return bytes.replace(bytes.size() - kPage, kPage, RandomBytes(kPage)); }, kFailed},
    {"a free page too many", [](std::string bytes) { return bytes.replace(36, 4, std::string("\0\0\0\7", 4)); },
     kFailed},
};

TEST_F(LedgerCorruptTest, WhateverIsDamagedIsSetAside) {
  const std::string whole = MakeLedger();
  ASSERT_GT(whole.size(), 10 * kPage);
  for (const Damage& damage : kDamages) {
    const testing::ScopedTrace trace(__FILE__, __LINE__, damage.name);
    Empty();
    WriteFile(Path(), damage.apply(whole));
    ExpectSetAside(damage.reason);
  }
}

TEST_F(LedgerCorruptTest, RowsThatCannotBeAreDamage) {
  const std::string whole = MakeLedger(3);
  for (const char* change : {"state = 7", "owner = 0", "finished = 2", "non_consumable = -1", "id = -id"}) {
    const testing::ScopedTrace trace(__FILE__, __LINE__, change);
    Empty();
    WriteFile(Path(), whole);
    EXPECT_EQ(RunSql(Path(), std::string("PRAGMA ignore_check_constraints = 1; UPDATE transactions SET ") + change),
              "");
    ExpectSetAside("does not pass its check: CHECK constraint failed in transactions");
  }
}

TEST_F(LedgerCorruptTest, AnIndexThatMissesAGrantIsDamage) {
  MakeLedger(3);
  // Without the row in the index nothing would hold a second grant of the same product.
  EXPECT_EQ(RunSql(Path(),
                   "PRAGMA writable_schema = 1; "
                   "UPDATE sqlite_schema SET sql = replace(sql, 'state = 1', 'state = 2') WHERE name = 'grants'"),
            "");
  EXPECT_EQ(RunSql(Path(), "REINDEX"), "");
  EXPECT_EQ(RunSql(Path(),
                   "PRAGMA writable_schema = 1; "
                   "UPDATE sqlite_schema SET sql = replace(sql, 'state = 2', 'state = 1') WHERE name = 'grants'"),
            "");
  ExpectSetAside("does not pass its check: row 1 missing from index grants");
}

TEST_F(LedgerCorruptTest, AnEmptyLedgerBesideItsLogIsSetAsideWithIt) {
  MakeLedger(3, true);
  WriteFile(Path(), "");
  const std::string log = ReadFile(Path() + "-wal");
  ASSERT_FALSE(log.empty());
  ExpectSetAside("is empty, but its log is not");
  EXPECT_TRUE(ReadFile(Aside() + "-wal") == log);
}

TEST_F(LedgerCorruptTest, TheLogGoesWithADamagedLedger) {
  const std::string whole = MakeLedger(3, true);
  const std::string log = ReadFile(Path() + "-wal");
  ASSERT_FALSE(log.empty());
  WriteFile(Path(), RandomBytes(whole.size()));
  ExpectSetAside(kNoDatabase);
  EXPECT_TRUE(ReadFile(Aside() + "-wal") == log);
  // Together they are the ledger that was, as far as it can be saved.
  WriteFile(Aside(), whole);
  EXPECT_EQ(RunSql(Aside(), "SELECT count(*) FROM transactions"), "3");
}

TEST_F(LedgerCorruptTest, ALogThatIsCutShortOrDamagedHoldsWhatCameBefore) {
  MakeLedger(1);
  const std::string whole = MakeLedger(20, true);
  const std::string log = ReadFile(Path() + "-wal");
  ASSERT_GT(log.size(), 20 * kPage);
  std::size_t last = 0;
  for (std::size_t size = 0; size <= log.size(); size += 1000) {
    Empty();
    WriteFile(Path(), whole);
    // What lies behind the cut is missing or nonsense.
    WriteFile(Path() + "-wal", log.substr(0, size) + (size % 3000 == 0 ? RandomBytes(5000) : ""));
    StoreLedger ledger(folder_.Path());
    const std::size_t owned = CountOwned(ledger);
    EXPECT_GE(owned, last) << size;
    last = owned;
    EXPECT_TRUE(Buy(ledger, "new")) << size << ": " << ledger.Error();
  }
  EXPECT_GE(last, 19U);
}

TEST_F(LedgerCorruptTest, NothingIsOverwritten) {
  for (const char* taken : {"", "-wal", "-shm", "-journal"}) {
    const testing::ScopedTrace trace(__FILE__, __LINE__, taken);
    Empty();
    WriteFile(Path(), "first");
    fs::create_directory(Aside(1));
    WriteFile(Aside(2) + taken, "somebody's");
    StoreLedger ledger(folder_.Path());
    for (int number = 3; number < 6; ++number) {
      WriteFile(Path(), "damaged");
      EXPECT_FALSE(Buy(ledger, "p"));
      EXPECT_THAT(ledger.Error(), HasSubstr(Aside(number)));
      EXPECT_EQ(ReadFile(Aside(number)), "damaged");
    }
    EXPECT_EQ(ReadFile(Aside(2) + taken), "somebody's");
  }
}

TEST_F(LedgerCorruptTest, DamageIsFoundInUseToo) {
  MakeLedger();
  LedgerChild child(folder_.Path());
  ASSERT_TRUE(IsTrue(child.Ask("buy before")));
  EXPECT_EQ(RunSql(Path(), "PRAGMA wal_checkpoint(TRUNCATE)"), "0|0|0");
  const std::string damaged = ReadFile(Path()).replace(kPage, kPage, RandomBytes(kPage));
  {
    std::fstream file(Path(), std::ios::in | std::ios::out | std::ios::binary);
    file << damaged << std::flush;
  }
  // A change, so that the ledger's process looks at the file again.
  EXPECT_EQ(RunSql(Path(), "PRAGMA user_version = 1"), "");
  EXPECT_EQ(child.Ask("buy after"),
            "false " + Path() + ": is corrupt: database disk image is malformed; " + "it is set aside as " + Aside());
  EXPECT_TRUE(ReadFile(Aside()) == damaged);
  EXPECT_TRUE(IsTrue(child.Ask("buy after")));
  EXPECT_THAT(child.Ask("restore"), testing::EndsWith(":after:3"));
}

TEST_F(LedgerCorruptTest, WhatAnotherProcessHasOpenStaysWhereItIs) {
  LedgerChild other(folder_.Path());
  ASSERT_TRUE(IsTrue(other.Ask("buy p")));
  EXPECT_EQ(RunSql(Path(), "PRAGMA wal_checkpoint(TRUNCATE)"), "0|0|0");
  WriteFile(Path(), RandomBytes(5 * kPage));
  const std::string damaged = ReadFile(Path());
  StoreLedger ledger(folder_.Path());
  for (int i = 0; i < 2; ++i) {
    EXPECT_FALSE(Buy(ledger, "q"));
    EXPECT_EQ(ledger.Error(), Path() + ": " + kNoDatabase + "; another process has it open, so it stays where it is");
    EXPECT_TRUE(ReadFile(Path()) == damaged);
  }
  other.Kill();
  EXPECT_FALSE(Buy(ledger, "q"));
  EXPECT_THAT(ledger.Error(), HasSubstr("it is set aside as " + Aside()));
  EXPECT_TRUE(ReadFile(Aside()) == damaged);
  EXPECT_TRUE(Buy(ledger, "q"));
}

TEST_F(LedgerCorruptTest, AnInstanceBetweenTwoCallsHasNothingOpenAfterAnError) {
  StoreLedger other(folder_.Path());
  StoreTransaction transaction;
  ASSERT_TRUE(Buy(other, "p"));
  ASSERT_FALSE(other.Settle(1, TransactionState::kPurchased, 0, &transaction));
  WriteFile(Path(), "damaged");
  StoreLedger ledger(folder_.Path());
  EXPECT_FALSE(Buy(ledger, "q"));
  EXPECT_THAT(ledger.Error(), HasSubstr("it is set aside as " + Aside()));
  EXPECT_TRUE(Buy(other, "p")) << other.Error();
}

TEST_F(LedgerCorruptTest, WhatAnotherProcessHasSetAsideMeanwhileIsNotSetAsideAgain) {
  WriteFile(Path(), "damaged");
  LedgerChild late(folder_.Path());
  CallTracer tracer(late.Pid());
  if (!tracer.IsAttached()) GTEST_SKIP() << "no process may be traced here: " << std::strerror(errno);
  late.Tell("buy late");
  // Its number; sharing the ledger; leaving it; and, where it stops, the wish to be alone.
  int locks = 4;
  const bool stopped = tracer.RunTo([&](const CallTracer::Call& call) {
    return call.entry.nr == SYS_fcntl && call.entry.args[1] == F_OFD_SETLK && --locks == 0;
  });
  EXPECT_TRUE(stopped);
  {
    LedgerChild quick(folder_.Path());
    EXPECT_THAT(quick.Ask("buy p"), HasSubstr("it is set aside as " + Aside()));
    EXPECT_TRUE(IsTrue(quick.Ask("buy p")));
  }
  tracer.Detach();
  EXPECT_EQ(late.Answer(), "false " + Path() + ": " + kNoDatabase + "; another process has set it aside");
  EXPECT_TRUE(IsTrue(late.Ask("buy late")));
  EXPECT_EQ(RunSql(Path(), "SELECT product FROM transactions ORDER BY id"), "p\nlate");
  EXPECT_FALSE(fs::exists(Aside(2)));
}

TEST_F(LedgerCorruptTest, TwoThatFindDamageAtOnceSetItAsideOnce) {
  for (int round = 0; round < 40; ++round) {
    Empty();
    WriteFile(Path(), "damaged");
    {
      LedgerChild children[2];
      for (LedgerChild& child : children) EXPECT_EQ(child.Ask("open " + folder_.Path()), "true");
      for (LedgerChild& child : children) child.Tell("buy p");
      std::string answers[2];
      std::transform(std::begin(children), std::end(children), answers, [](LedgerChild& c) { return c.Answer(); });
      const auto did = std::count_if(std::begin(answers), std::end(answers), [](const std::string& answer) {
        return answer.find("it is set aside as ") != std::string::npos;
      });
      EXPECT_EQ(did, 1) << answers[0] << '\n' << answers[1];
      for (LedgerChild& child : children) EXPECT_TRUE(IsTrue(child.Ask("buy p")));
    }
    EXPECT_EQ(ReadFile(Aside(1)), "damaged") << round;
    EXPECT_FALSE(fs::exists(Aside(2))) << round;
    EXPECT_EQ(RunSql(Path(), "SELECT count(*) FROM transactions WHERE original IS NULL"), "1") << round;
  }
}

TEST_F(LedgerCorruptTest, AFolderThatLetsNothingBeRenamedIsNamed) {
  LedgerChild child;
  if (geteuid() == 0) {
    EXPECT_EQ(chown(folder_.Path().c_str(), 65534, 65534), 0);
    EXPECT_EQ(child.Ask("user 65534"), "true");
  }
  EXPECT_EQ(child.Ask("open " + folder_.Path()), "true");
  EXPECT_TRUE(IsTrue(child.Ask("buy p")));
  EXPECT_EQ(child.Ask("open " + folder_.Path()), "true");
  WriteFile(Path(), "damaged");
  ASSERT_EQ(chmod(folder_.Path().c_str(), 0500), 0);
  const std::string before = child.Ask("descriptors");
  EXPECT_EQ(child.Ask("buy q"),
            "false " + Path() + ": " + kNoDatabase + "; it cannot be renamed to " + Aside() + " (Permission denied)");
  EXPECT_EQ(child.Ask("descriptors"), before);
  EXPECT_EQ(ReadFile(Path()), "damaged");
  ASSERT_EQ(chmod(folder_.Path().c_str(), 0700), 0);
  EXPECT_THAT(child.Ask("buy q"), HasSubstr("it is set aside as " + Aside()));
  EXPECT_TRUE(IsTrue(child.Ask("buy q")));
}

TEST_F(LedgerCorruptTest, AnyChangedByteIsHarmlessOrNoticed) {
  const std::string whole = MakeLedger(40);
  const auto before = support::ListOpenDescriptors();
  int noticed = 0;
  for (std::size_t i = 0; i < whole.size(); i += i < 200 ? 1 : 131) {
    Empty();
    std::string changed = whole;
    changed[i] = static_cast<char>(changed[i] ^ 0x55);
    WriteFile(Path(), changed);
    StoreLedger ledger(folder_.Path());
    if (Buy(ledger, "new")) continue;
    ++noticed;
    const std::string kept = fs::exists(Aside()) ? Aside() : Path();
    EXPECT_TRUE(ReadFile(kept) == changed) << i << ": " << ledger.Error();
    EXPECT_THAT(ledger.Error(), StartsWith(Path() + ": ")) << i;
  }
  EXPECT_GT(noticed, 50);
  EXPECT_EQ(support::DescribeChanges(before, support::ListOpenDescriptors()), "");
}

}  // namespace
