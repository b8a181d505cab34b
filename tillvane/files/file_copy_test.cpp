#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/file_mask.h>
#include <tests/support/files.h>
#include <tests/support/temp_folder.h>
#include <tillvane/files/LFile.h>

namespace {

using support::Contents;
using support::IsThere;
using support::MakeFolder;
using support::Mode;
using support::TempFolder;
using support::Tree;

using Paths = std::set<std::string>;

int Copy(const std::string& source, const std::string& destination) {
  return LFile::CopyFile(source.c_str(), destination.c_str());
}

void Link(const std::string& target, const std::string& path) { ASSERT_EQ(symlink(target.c_str(), path.c_str()), 0); }

std::string Target(const std::string& link) {
  char target[300];
  const ssize_t length = readlink(link.c_str(), target, sizeof target);
  return length >= 0 ? std::string(target, static_cast<std::size_t>(length)) : "no link";
}

TEST(FileCopy, BytesAndPermissionBits) {
  const TempFolder folder;
  const support::FileMask none(0);
  for (const std::size_t size : {0u, 1u, 4096u, 32768u, 100000u, 3000000u}) {
    for (const mode_t mode : {0600u, 0644u, 0755u, 0444u, 04711u, 0777u}) {
      std::string bytes(size, 'x');
      for (std::size_t i = 0; i < size; i += 997) bytes[i] = static_cast<char>(i);
      const std::string source = folder.Write("source", bytes), copy = folder.File("copy");
      ASSERT_EQ(chmod(source.c_str(), mode), 0);
      EXPECT_EQ(Copy(source, copy), 1);
      EXPECT_EQ(Contents(copy), bytes);
      EXPECT_EQ(Mode(copy), mode);
      unlink(source.c_str());
    }
  }
}

TEST(FileCopy, ADestinationIsDeletedFirst) {
  const TempFolder folder;
  const std::string source = folder.Write("source", "new"), copy = folder.Write("copy", "what was there before");
  ASSERT_EQ(link(copy.c_str(), folder.File("other").c_str()), 0);
  chmod(copy.c_str(), 0);
  EXPECT_EQ(Copy(source, copy), 1);
  EXPECT_EQ(Contents(copy), "new");
  EXPECT_EQ(Mode(copy), 0600u);
  chmod(folder.File("other").c_str(), 0600);
  EXPECT_EQ(Contents(folder.File("other")), "what was there before") << "another file now";
  Link("source", folder.File("link"));
  const std::string target = folder.Write("target", "target");
  Link("target", folder.File("link2"));
  EXPECT_EQ(Copy(source, folder.File("link2")), 1);
  EXPECT_EQ(Contents(target), "target");
  EXPECT_EQ(Contents(folder.File("link2")), "new");
}

TEST(FileCopy, WithoutASourceTheDestinationIsDeletedAllTheSame) {
  const TempFolder folder;
  const std::string copy = folder.Write("copy", "text");
  EXPECT_EQ(Copy(folder.File("missing"), copy), 0);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_FALSE(IsThere(copy));
}

TEST(FileCopy, AFileOntoItselfIsNotTouched) {
  const TempFolder folder;
  const std::string path = folder.Write("file", "text");
  ASSERT_EQ(link(path.c_str(), folder.File("hard").c_str()), 0);
  Link("file", folder.File("soft"));
  for (const std::string& same : {path, folder.Path() + "/./file", folder.File("hard")}) {
    EXPECT_EQ(Copy(path, same), 0) << same;
    EXPECT_EQ(errno, EINVAL);
  }
  EXPECT_EQ(Contents(path), "text");
  EXPECT_EQ(Tree(folder.Path()), (Paths{"file", "hard", "soft"}));
  // A link is not the file: it gives way to the copy.
  EXPECT_EQ(Copy(path, folder.File("soft")), 1);
  EXPECT_FALSE(std::filesystem::is_symlink(folder.File("soft")));
  EXPECT_EQ(Contents(folder.File("soft")), "text");
  EXPECT_EQ(Contents(path), "text");
}

TEST(FileCopy, InACopiedFolderLinksAndOtherNamesGiveWay) {
  const TempFolder folder;
  support::MakeFolder(folder.File("tree"));
  support::MakeFolder(folder.File("copy"));
  folder.Write("tree/linked", "new");
  folder.Write("tree/named", "new");
  const std::string precious = folder.Write("precious", "precious"), hard = folder.Write("hard", "hard");
  Link("../precious", folder.File("copy/linked"));
  ASSERT_EQ(link(hard.c_str(), folder.File("copy/named").c_str()), 0);
  EXPECT_EQ(Copy(folder.File("tree"), folder.File("copy")), 1);
  EXPECT_EQ(Contents(folder.File("copy/linked")), "new");
  EXPECT_EQ(Contents(folder.File("copy/named")), "new");
  EXPECT_EQ(Contents(precious), "precious");
  EXPECT_EQ(Contents(hard), "hard");
}

TEST(FileCopy, PipesSocketsAndDevicesAreNotCopied) {
  const TempFolder folder;
  ASSERT_EQ(mkfifo(folder.File("pipe").c_str(), 0600), 0);
  const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  folder.File("socket").copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  close(listener);
  for (const std::string& source : {folder.File("pipe"), folder.File("socket"), std::string("/dev/null")}) {
    EXPECT_EQ(Copy(source, folder.File("copy")), 0) << source;
    EXPECT_FALSE(IsThere(folder.File("copy")));
  }
}

TEST(FileCopy, ALinkIsCopiedAsALink) {
  const TempFolder folder;
  folder.Write("file", "text");
  MakeFolder(folder.File("tree"));
  for (const char* target : {"file", "tree", "nothing"}) {
    const std::string source = folder.File(std::string("to ") + target),
                      copy = folder.File(std::string("copy of ") + target);
    Link(target, source);
    EXPECT_EQ(Copy(source, copy), 1);
    EXPECT_EQ(Target(copy), target);
  }
  EXPECT_EQ(Copy(folder.File("to file"), folder.File("missing/copy")), 0);
}

TEST(FileCopy, ACommandForALinkIsCut) {
  const TempFolder folder;
  Link("nothing", folder.File("link"));
  const std::string source = folder.File("link");
  // Of a command of 259 characters nothing is missing, of a longer one the last double quote.
  const std::size_t rest = 259 - std::string("cp -R \"\" \"\"").size() - source.size();
  const std::string fits = folder.File(std::string(rest - folder.Path().size() - 1, 'c'));
  EXPECT_EQ(Copy(source, fits), 1);
  EXPECT_EQ(Target(fits), "nothing");
  EXPECT_EQ(Copy(source, fits + 'd'), 0);
  EXPECT_EQ(Tree(folder.Path()), (Paths{"link", fits.substr(folder.Path().size() + 1)}));
}

TEST(FileCopy, AFolderIsCopiedWhole) {
  const TempFolder folder;
  MakeFolder(folder.File("tree/a/b"));
  folder.Write("tree/a/b/file", "text");
  folder.Write("tree/.hidden", "");
  chmod(folder.File("tree/a/b/file").c_str(), 0640);
  chmod(folder.File("tree/a").c_str(), 0750);
  Link("nothing", folder.File("tree/link"));
  EXPECT_EQ(Copy(folder.File("tree"), folder.File("copy")), 1);
  EXPECT_EQ(Tree(folder.File("copy")), Tree(folder.File("tree")));
  EXPECT_EQ(Contents(folder.File("copy/a/b/file")), "text");
  EXPECT_EQ(Mode(folder.File("copy/a/b/file")), 0640u);
  EXPECT_EQ(Mode(folder.File("copy/a")), 0750u);
  EXPECT_EQ(Target(folder.File("copy/link")), "nothing");
  folder.Write("tree/.hidden", "new");
  EXPECT_EQ(Copy(folder.File("tree"), folder.File("copy")), 1) << "over one that is there";
  EXPECT_EQ(Contents(folder.File("copy/.hidden")), "new");
}

TEST(FileCopy, OfAFolderTheRestIsCopiedWhenAnEntryFails) {
  const TempFolder folder;
  MakeFolder(folder.File("tree/a"));
  folder.Write("tree/a/file", "text");
  ASSERT_EQ(mkfifo(folder.File("tree/a/pipe").c_str(), 0600), 0);
  EXPECT_EQ(Copy(folder.File("tree"), folder.File("copy")), 0);
  EXPECT_EQ(Tree(folder.File("copy")), (Paths{"a", "a/file"}));
}

TEST(FileCopy, AFolderIsNotCopiedIntoItself) {
  const TempFolder folder;
  MakeFolder(folder.File("tree/a"));
  folder.Write("tree/file", "text");
  EXPECT_EQ(Copy(folder.File("tree"), folder.File("tree/copy")), 0);
  EXPECT_FALSE(IsThere(folder.File("tree/copy/copy")));
  EXPECT_EQ(Contents(folder.File("tree/copy/file")), "text");
  EXPECT_EQ(Copy(folder.File("tree"), folder.File("tree")), 0);
}

TEST(FileCopy, DeepFoldersAreMet) {
  const TempFolder folder;
  MakeFolder(folder.File("tree"));
  support::DeepFolder deep(folder.File("tree"), 10000);
  ASSERT_EQ(deep.Depth(), 10000);
  EXPECT_EQ(Copy(folder.File("tree"), folder.File("copy")), 0);
  EXPECT_TRUE(IsThere(folder.File("copy/d/d/d")));
}

TEST(FileCopy, WhereNothingCanBeWrittenNothingIs) {
  const TempFolder folder;
  const std::string source = folder.Write("source", "text");
  MakeFolder(folder.File("folder"));
  for (const char* destination : {"missing/copy", "source/copy", "folder", "folder/"}) {
    EXPECT_EQ(Copy(source, folder.File(destination)), 0) << destination;
  }
  EXPECT_EQ(Copy(source, ""), 0);
  EXPECT_EQ(Copy("", folder.File("copy")), 0);
  EXPECT_EQ(Tree(folder.Path()), (Paths{"source", "folder"}));
  EXPECT_EQ(Contents(source), "text");
}

TEST(FileCopy, FilesThatDoNotTellTheirLengthAreCopiedWhole) {
  const TempFolder folder;
  EXPECT_EQ(Copy("/proc/self/status", folder.File("copy")), 1);
  EXPECT_NE(Contents(folder.File("copy")).find("Name:"), std::string::npos);
}

}  // namespace
