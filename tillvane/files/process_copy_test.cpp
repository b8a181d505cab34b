#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/file_mask.h>
#include <tests/support/files.h>
#include <tests/support/report_recorder.h>
#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>
#include <tillvane/files/LFile.h>
#include <tillvane/files/LProcessCopyFile.h>

namespace {

using support::Contents;
using support::HandlerScope;
using support::IsThere;
using support::MakeFolder;
using support::ReportRecorder;
using support::TempFolder;
using testing::ElementsAre;
using Lines = std::vector<std::string>;

constexpr std::size_t kPiece = 32768;

std::string Bytes(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * i / 251 + i);
  return bytes;
}

int Copy(ReportRecorder& reports, const std::string& source, const std::string& destination) {
  return Process(reports, {source.c_str(), destination.c_str()});
}

/// What is reported and asked by a copy of so many pieces that then ends.
Lines Expected(std::size_t pieces, const std::string& name = "copy") {
  Lines lines = {"status 0 Copy File", "status 1 " + name, "progress"};
  for (; pieces > 0; --pieces) lines.insert(lines.end(), {"stop?", "progress"});
  return lines;
}

TEST(ProcessCopy, ReportsEachPieceAfterItWithTheProgressBeforeIt) {
  const TempFolder folder;
  for (const std::size_t size :
       {std::size_t{1}, kPiece - 1, kPiece, kPiece + 1, 2 * kPiece, 3 * kPiece - 1, 40 * kPiece, 41 * kPiece + 5}) {
    SCOPED_TRACE(size);
    const std::string bytes = Bytes(size), source = folder.Write("source", bytes);
    ReportRecorder reports;
    EXPECT_EQ(Copy(reports, source, folder.File("copy")), 0);
    EXPECT_TRUE(Contents(folder.File("copy")) == bytes);
    const std::size_t pieces = (size + kPiece - 1) / kPiece;
    EXPECT_EQ(reports.lines, Expected(pieces));
    const double step = size >= kPiece ? 32768.0 / static_cast<double>(size) : 1.0;
    std::vector<double> progress = {0.0};
    double next = 0;
    for (std::size_t i = 0; i < pieces; ++i, next += step) progress.push_back(next);
    EXPECT_EQ(reports.progress, progress) << "exactly";
  }
}

TEST(ProcessCopy, OfFourPiecesReportsThreeQuartersAtLast) {
  const TempFolder folder;
  ReportRecorder reports;
  EXPECT_EQ(Copy(reports, folder.Write("source", Bytes(4 * kPiece)), folder.File("copy")), 0);
  EXPECT_THAT(reports.progress, ElementsAre(0.0, 0.0, 0.25, 0.5, 0.75));
}

TEST(ProcessCopy, AnEmptyFileIsOneReport) {
  const TempFolder folder;
  ReportRecorder reports;
  EXPECT_EQ(Copy(reports, folder.Write("source", ""), folder.File("copy")), 0);
  EXPECT_EQ(reports.lines, Expected(0));
  EXPECT_EQ(reports.progress, std::vector<double>{0.0});
  EXPECT_TRUE(IsThere(folder.File("copy")));
  EXPECT_EQ(Contents(folder.File("copy")), "");
}

TEST(ProcessCopy, ItStopsBeforeAnyPiece) {
  for (const int stop_at : {1, 2, 3, 20, 40}) {
    SCOPED_TRACE(stop_at);
    for (const bool was_there : {false, true}) {
      const TempFolder folder;
      const std::string bytes = Bytes(40 * kPiece), source = folder.Write("source", bytes);
      if (was_there) folder.Write("copy", "what was there before");
      ReportRecorder reports;
      reports.stop_at = stop_at;
      EXPECT_EQ(Copy(reports, source, folder.File("copy")), 1);
      Lines lines = Expected(static_cast<std::size_t>(stop_at) - 1);
      lines.push_back("stop?");
      EXPECT_EQ(reports.lines, lines);
      EXPECT_FALSE(IsThere(folder.File("copy")));
      EXPECT_TRUE(Contents(source) == bytes);
    }
  }
}

TEST(ProcessCopy, OfOneThatIsStoppedNothingRemainsUnderAnotherNameEither) {
  const TempFolder folder;
  const std::string source = folder.Write("source", Bytes(5 * kPiece)), copy = folder.File("copy");
  const std::string other = folder.Write("other", "what was there before");
  for (const auto make : {&link, &symlink}) {
    ASSERT_EQ(make(other.c_str(), copy.c_str()), 0);
    ReportRecorder reports;
    reports.stop_at = 3;
    EXPECT_EQ(Copy(reports, source, copy), 1);
    EXPECT_FALSE(IsThere(copy));
    EXPECT_EQ(Contents(other), "");
    folder.Write("other", "what was there before");
  }
}

TEST(ProcessCopy, WhatDoesNotOpenFailsAfterTheFirstReports) {
  const TempFolder folder;
  const std::string source = folder.Write("source", "text");
  MakeFolder(folder.File("folder"));
  const struct {
    std::string source, destination, name;
    int error;
  } cases[] = {{source, folder.File("missing/copy"), "copy", ENOENT},
               {folder.File("missing"), folder.File("copy"), "copy", ENOENT},
               {source, folder.File("folder"), "folder", EISDIR},
               {source, folder.File("source/copy"), "copy", 0},
               {source, folder.File(std::string(256, 'n')), std::string(256, 'n'), ENAMETOOLONG},
               {source, folder.File(std::string(300, 'n')), std::string(259, 'n'), ENAMETOOLONG},
               {source, "no-folder-in-the-path", "no-folder-in-the-path", 0},
               {source, "", "", 0},
               {"", folder.File("copy"), "copy", ENOENT}};
  for (const auto& one : cases) {
    SCOPED_TRACE(one.destination);
    ReportRecorder reports;
    EXPECT_EQ(Copy(reports, one.source, one.destination), 2);
    const int error = errno;
    if (one.error != 0) {
      EXPECT_EQ(error, one.error);
    }
    EXPECT_EQ(reports.lines, Expected(0, one.name));
  }
  EXPECT_EQ(support::Tree(folder.Path()), (std::set<std::string>{"source", "folder"}));
}

TEST(ProcessCopy, AFileOntoItselfFailsAtOnceAndIsNotTouched) {
  const TempFolder folder;
  const std::string source = folder.Write("source", "text");
  ASSERT_EQ(link(source.c_str(), folder.File("hard").c_str()), 0);
  ASSERT_EQ(symlink("source", folder.File("soft").c_str()), 0);
  const support::Stopwatch watch;
  for (const char* same : {"source", "./source", "hard", "soft"}) {
    ReportRecorder reports;
    EXPECT_EQ(Copy(reports, source, folder.File(same)), 2) << same;
    EXPECT_EQ(errno, EINVAL);
    EXPECT_TRUE(IsThere(folder.File(same)));
  }
  EXPECT_LT(watch.Ms(), 900) << "no lock is waited for";
  EXPECT_EQ(Contents(source), "text");
}

TEST(ProcessCopy, AFolderOpensButHasNoBytes) {
  const TempFolder folder;
  MakeFolder(folder.File("folder"));
  ReportRecorder reports;
  EXPECT_EQ(Copy(reports, folder.File("folder"), folder.File("copy")), 2);
  EXPECT_EQ(errno, EISDIR);
  EXPECT_FALSE(IsThere(folder.File("copy")));
}

TEST(ProcessCopy, APipeIsNotWaitedFor) {
  const TempFolder folder;
  ASSERT_EQ(mkfifo(folder.File("pipe").c_str(), 0600), 0);
  ReportRecorder reports;
  EXPECT_EQ(Copy(reports, folder.File("pipe"), folder.File("copy")), 0);
  EXPECT_EQ(reports.lines, Expected(0)) << "its size is 0";
}

TEST(ProcessCopy, TheTimeOfTheLastChangeIsTheSources) {
  const TempFolder folder;
  const std::string source = folder.Write("source", "text");
  const time_t begin = time(nullptr), tomorrow = begin + 86400;
  // Most systems do not change a time of reading that is later than all others.
  const timespec times[] = {{tomorrow, 5}, {1234567890, 123456789}};
  ASSERT_EQ(utimensat(AT_FDCWD, source.c_str(), times, 0), 0);
  ReportRecorder reports;
  EXPECT_EQ(Copy(reports, source, folder.File("copy")), 0);
  struct stat status;
  ASSERT_EQ(stat(folder.File("copy").c_str(), &status), 0);
  EXPECT_EQ(status.st_mtim.tv_sec, 1234567890);
  EXPECT_EQ(status.st_mtim.tv_nsec, 0);
  EXPECT_GE(status.st_atim.tv_sec, begin - 1) << "the copy's own";
  EXPECT_LT(status.st_atim.tv_sec, tomorrow - 3600);
  EXPECT_EQ(status.st_atim.tv_nsec, 0);
}

TEST(ProcessCopy, TheModeIsThatOfANewFileOrOfTheOneThatIsThere) {
  const TempFolder folder;
  const std::string source = folder.Write("source", "new");
  chmod(source.c_str(), 0755);
  const support::FileMask mask(002);
  ReportRecorder reports;
  EXPECT_EQ(Copy(reports, source, folder.File("copy")), 0);
  EXPECT_EQ(support::Mode(folder.File("copy")), 0664u);
  const std::string longer = folder.Write("longer", "what was there before");
  EXPECT_EQ(Copy(reports, source, longer), 0);
  EXPECT_EQ(support::Mode(longer), 0600u);
  EXPECT_EQ(Contents(longer), "new");
}

TEST(ProcessCopy, HolesStayHoles) {
  const TempFolder folder;
  const std::string source = folder.File("source");
  const int file = open(source.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  const std::string bytes = Bytes(70000);
  // A hole at the beginning, in the middle across pieces, and at the end.
  ASSERT_EQ(pwrite(file, bytes.data(), bytes.size(), 1 << 20), 70000);
  ASSERT_EQ(pwrite(file, bytes.data(), bytes.size(), 3 << 20), 70000);
  ASSERT_EQ(ftruncate(file, (8 << 20) + 5), 0);
  struct stat before, after;
  ASSERT_EQ(fstat(file, &before), 0);
  close(file);
  if (before.st_blocks * 512 > before.st_size / 4) GTEST_SKIP() << "no holes on this file system";
  ReportRecorder reports;
  EXPECT_EQ(Copy(reports, source, folder.File("copy")), 0);
  ASSERT_EQ(stat(folder.File("copy").c_str(), &after), 0);
  EXPECT_EQ(after.st_size, before.st_size);
  EXPECT_LT(after.st_blocks, 2 * before.st_blocks);
  EXPECT_TRUE(Contents(folder.File("copy")) == Contents(source));
  EXPECT_EQ(reports.lines, Expected((8 << 20) / kPiece + 1));
  ASSERT_EQ(LFile::CopyFile(source.c_str(), folder.File("copy2").c_str()), 1);
  ASSERT_EQ(stat(folder.File("copy2").c_str(), &after), 0);
  EXPECT_LT(after.st_blocks, 2 * before.st_blocks);
  EXPECT_TRUE(Contents(folder.File("copy2")) == Contents(source));
}

TEST(ProcessCopy, ASourceThatGetsShorterFails) {
  for (const bool has_holes : {false, true}) {
    SCOPED_TRACE(has_holes);
    const TempFolder folder;
    const std::string source = folder.Write("source", Bytes(10 * kPiece));
    // One long hole.
    if (has_holes) truncate(source.c_str(), 0), truncate(source.c_str(), 10 * kPiece);
    ReportRecorder reports;
    reports.on_question = [&](int asked) {
      if (asked == 1) truncate(source.c_str(), 5 * kPiece + 1);
    };
    EXPECT_EQ(Copy(reports, source, folder.File("copy")), 2);
    Lines lines = Expected(5);
    lines.push_back("stop?");
    EXPECT_EQ(reports.lines, lines);
    EXPECT_FALSE(IsThere(folder.File("copy")));
  }
}

TEST(ProcessCopy, OfASourceThatGetsLongerTheFirstLengthIsCopied) {
  const TempFolder folder;
  const std::string source = folder.Write("source", Bytes(3 * kPiece));
  ReportRecorder reports;
  reports.on_question = [&](int) { truncate(source.c_str(), 100 * kPiece); };
  EXPECT_EQ(Copy(reports, source, folder.File("copy")), 0);
  EXPECT_TRUE(Contents(folder.File("copy")) == Bytes(3 * kPiece));
}

TEST(ProcessCopy, BothFilesAreLockedMeanwhile) {
  const TempFolder folder;
  const std::string source = folder.Write("source", Bytes(kPiece)), copy = folder.File("copy");
  const auto can_lock = [](const std::string& path, int lock) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const bool can = flock(file, lock | LOCK_NB) == 0;
    close(file);
    return can;
  };
  ReportRecorder reports;
  reports.on_question = [&](int) {
    EXPECT_TRUE(can_lock(source, LOCK_SH));
    EXPECT_FALSE(can_lock(source, LOCK_EX));
    EXPECT_FALSE(can_lock(copy, LOCK_SH));
  };
  EXPECT_EQ(Copy(reports, source, copy), 0);
  EXPECT_EQ(reports.asked, 1);
  EXPECT_TRUE(can_lock(source, LOCK_EX));
  EXPECT_TRUE(can_lock(copy, LOCK_EX));
}

TEST(ProcessCopy, DescriptorsAreClosedOnExec) {
  const TempFolder folder;
  ReportRecorder reports;
  reports.on_question = [&](int) {
    int count = 0;
    for (int file = 3; file < 100; ++file) {
      char target[300];
      const ssize_t length = readlink(("/proc/self/fd/" + std::to_string(file)).c_str(), target, sizeof target);
      if (length < 0 || std::string(target, static_cast<std::size_t>(length)).find(folder.Path()) != 0) continue;
      ++count;
      EXPECT_NE(fcntl(file, F_GETFD) & FD_CLOEXEC, 0);
    }
    EXPECT_EQ(count, 2);
  };
  EXPECT_EQ(Copy(reports, folder.Write("source", "x"), folder.File("copy")), 0);
}

TEST(ProcessCopy, BeyondTheLargestFileItFails) {
  const TempFolder folder;
  const std::string bytes = Bytes(20 * kPiece), source = folder.Write("source", bytes);
  const HandlerScope ignore(SIGXFSZ, SIG_IGN);
  rlimit before;
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit limit = {10 * kPiece + 100, before.rlim_max};
  ReportRecorder reports;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  const int result = Copy(reports, source, folder.File("copy"));
  const int error = errno;
  const int copied = LFile::CopyFile(source.c_str(), folder.File("copy2").c_str());
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  EXPECT_EQ(result, 2);
  EXPECT_EQ(error, EFBIG);
  Lines lines = Expected(10);
  lines.push_back("stop?");
  EXPECT_EQ(reports.lines, lines) << "what could be copied was";
  EXPECT_EQ(copied, 0);
  EXPECT_FALSE(IsThere(folder.File("copy")));
  EXPECT_FALSE(IsThere(folder.File("copy2")));
  EXPECT_TRUE(Contents(source) == bytes);
}

TEST(ProcessCopy, InAFolderThatMayNotBeWrittenItFails) {
  const TempFolder folder;
  const support::Unprivileged unprivileged(folder.Path());
  MakeFolder(folder.File("closed"));
  chmod(folder.File("closed").c_str(), 0500);
  ReportRecorder reports;
  EXPECT_EQ(Copy(reports, folder.Write("source", "x"), folder.File("closed/copy")), 2);
  EXPECT_EQ(LFile::IsErrorPermissionDenied(), 1);
}

}  // namespace
