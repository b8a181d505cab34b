// Volumes that a child mounts for itself: see volume_child.cpp.

#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/child_process.h>
#include <tests/support/network_folder.h>
#include <tests/support/temp_folder.h>

namespace {

using support::ProcessResult;
using support::RunProcess;

constexpr unsigned int kEndMs = 20000;
constexpr int kCannotBeDoneHere = 77;

ProcessResult RunChild(std::vector<std::string> commands, unsigned int ms = kEndMs) {
  commands.insert(commands.begin(), TILLVANE_TEST_HELPER);
  return RunProcess(commands, ms);
}

class VolumeMounts : public testing::Test {
 protected:
  void SetUp() override {
    for (const std::string& way : {std::string("/"), folder_.Path()}) {
      if (support::MayBeOfTheNetwork(way)) GTEST_SKIP() << "what is below " << way << " is not looked at";
    }
    const ProcessResult result = RunChild({"private", "tmpfs", folder_.Path()});
    if (result.exit_code == kCannotBeDoneHere) GTEST_SKIP() << "this process may not mount: " << result.output;
  }

  std::string Folder(const std::string& name) const {
    mkdir(folder_.File(name).c_str(), 0700);
    return folder_.File(name);
  }

  const support::TempFolder folder_;
};

TEST_F(VolumeMounts, AFileSystemInMemoryIsInternal) {
  const std::string at = Folder("at"), link = folder_.File("link");
  ASSERT_EQ(symlink("at/folder", link.c_str()), 0);
  const std::string answer = "200000 local id 1994 limit 2 drive " + at + '\n';
  const ProcessResult result = RunChild({"private",
                                         "tmpfs",
                                         at,
                                         "fill",
                                         at,
                                         "ask",
                                         at,
                                         "ask",
                                         at + "/",
                                         "ask",
                                         at + "/folder/file",
                                         "ask",
                                         at + "/folder/link",
                                         "ask",
                                         link,
                                         "enter",
                                         at,
                                         "ask",
                                         ".",
                                         "ask",
                                         "folder/..",
                                         "ask",
                                         "missing"});
  EXPECT_EQ(result.output, answer + answer + answer + answer + answer + answer + answer +
                               "0 external removable network local id ffff limit 2 drive missing:\\\n");
}

// The folder may be too deep for a path, or lie in one that this user may not enter.
TEST_F(VolumeMounts, ARelativePathNeedsNothingAboveTheCurrentFolder) {
  const std::string at = Folder("at"), answer = "200000 local id 1994 limit 2 drive " + at + '\n';
  EXPECT_EQ(RunChild({"private", "tmpfs", at, "enter", at, "deeper", "22", "ask", ".", "ask", ".."}).output,
            answer + answer);
  EXPECT_EQ(RunChild({"private", "tmpfs", at, "enter", at, "nobody", "ask", "."}).output, answer);
}

TEST_F(VolumeMounts, TheOneOnTopIsTheOneThatIsSeen) {
  const std::string at = Folder("at \\040 \t\n"), below = at + "/folder";
  const std::string answer = "200000 local id 1994 limit 2 drive ";
  const ProcessResult result =
      RunChild({"private", "tmpfs", at, "fill", at, "tmpfs", below, "tmpfs", below, "ask", below, "ask", at});
  EXPECT_EQ(result.output, answer + below + '\n' + answer + at + '\n');
}

TEST_F(VolumeMounts, ARootThatIsNoMountPointIsAVolumeToo) {
  const std::string at = Folder("at"), root = at + "/folder", answer = "200000 local id 1994 limit 2 drive /\n";
  const ProcessResult result = RunChild({"private",      "tmpfs", at,           "fill",         at,
                                         "fill",         root,    "make",       root + "/proc", "proc",
                                         root + "/proc", "root",  root,         "ask",          "/",
                                         "ask",          ".",     "ask",        "/folder/link", "ask",
                                         "/missing",     "ask",   "/proc/self", "ask",          "/proc/self/fd/0"});
  if (result.exit_code == kCannotBeDoneHere) GTEST_SKIP() << result.output;
  EXPECT_EQ(result.output, answer + answer + answer +
                               "0 external removable network local id ffff limit 2 drive /\n"
                               "200000 local id 9fa0 limit 2 drive /proc\n" +
                               "0 external removable network local id ffff limit 2 drive /\n");
}

class DeadMounts : public VolumeMounts {
 protected:
  void SetUp() override {
    VolumeMounts::SetUp();
    if (IsSkipped()) return;
    const ProcessResult result = RunChild({"private", "fuse", "fuse.sshfs", "server:/", folder_.Path()});
    if (result.exit_code == kCannotBeDoneHere) GTEST_SKIP() << result.output;
  }
};

TEST_F(DeadMounts, HoldUpNobodyButWhoAsksForAFile) {
  const std::string at = Folder("at"), link = folder_.File("link"), beside = folder_.Write("beside", "");
  ASSERT_EQ(symlink("at/a/b", link.c_str()), 0);
  const struct {
    const char *type, *source, *id;
  } cases[] = {{"fuse.sshfs", "me@server:", "4a48"},
               {"fuse", "bucket", "4a48"},
               {"fuse.unheard", "server:/folder", "4a48"},
               {"fuse.gvfsd-fuse", "gvfsd-fuse", "6375"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.type);
    const std::vector<std::string> mounted = {"private", "fuse", c.type, c.source, at};
    std::vector<std::string> commands = mounted;
    for (const std::string& path : {at, at + "/", at + "/a/b", link, at + "/a/../b", link + "/../c"}) {
      commands.insert(commands.end(), {"ask", path});
    }
    const std::string answer = "0 external removable network id " + std::string(c.id) + " limit 2 drive " + at + '\n';
    EXPECT_EQ(RunChild(commands).output, answer + answer + answer + answer + answer + answer);

    // Next to it the answers are those of the folder.
    commands = mounted;
    commands.insert(commands.end(), {"ask", beside, "ask", at + "/../beside", "exists", beside, "exists", at + "x"});
    const std::string outside = RunChild({"ask", beside}).output;
    EXPECT_EQ(RunChild(commands).output, outside + outside + "there\nmissing\n");

    // And it is dead.
    commands = mounted;
    commands.insert(commands.end(), {"exists", at + "/a"});
    EXPECT_FALSE(RunChild(commands, 300).ended);
  }
}

TEST_F(DeadMounts, MayBeReachedByARelativePath) {
  const std::string at = Folder("at");
  const ProcessResult result = RunChild(
      {"private", "fuse", "fuse.sshfs", "server:/", at, "enter", folder_.Path(), "ask", "at/a", "ask", "./at/../at"});
  const std::string answer = "0 external removable network id 4a48 limit 2 drive " + at + '\n';
  EXPECT_EQ(result.output, answer + answer);
}

TEST_F(DeadMounts, AreNotTouchedFromAFolderThatNobodyKnows) {
  const std::string at = Folder("at");
  std::string up;
  for (int i = 0; i < 22; ++i) up += "../";
  const ProcessResult result = RunChild({"private", "fuse", "fuse.sshfs", "server:/", at, "enter", folder_.Path(),
                                         "deeper", "22", "ask", up + "at/a", "ask", up});
  const std::string unknown = "0 external removable network local id ffff limit 2 drive \n";
  EXPECT_EQ(result.output, unknown + unknown);
}

TEST_F(DeadMounts, AreNotTouchedWhenTheTableCannotBeRead) {
  const std::string at = Folder("at");
  const ProcessResult result = RunChild({"private", "fuse", "fuse.sshfs", "server:/", at, "closed", "ask", at + "/a"});
  EXPECT_EQ(result.output, "0 external removable network local id ffff limit 2 drive /\n");
}

class ImageMounts : public VolumeMounts {
 protected:
  /// Makes an image of 64 MiB, and a file system in it. \return empty when that cannot be done here
  std::string MakeImage(const std::vector<std::string>& make) {
    std::string image = folder_.Write("image", "");
    EXPECT_EQ(truncate(image.c_str(), off_t{64} * 1024 * 1024), 0);
    std::vector<std::string> command = {"/usr/bin/env", "PATH=/usr/sbin:/sbin:/usr/bin:/bin"};
    command.insert(command.end(), make.begin(), make.end());
    command.push_back(image);
    const ProcessResult result = RunProcess(command, kEndMs);
    if (result.exit_code == 127) return {};
    EXPECT_EQ(result.exit_code, 0) << result.output << result.errors;
    return image;
  }

  /// \param id of the mounted file system
  void Check(const std::vector<std::string>& make, const std::string& id, int limit) {
    const std::string image = MakeImage(make), at = Folder("at");
    if (image.empty()) GTEST_SKIP() << make[0] << " is not installed";
    const ProcessResult result =
        RunChild({"private", "loop", image, at, "ask", at, "ask", at + "/missing", "ask", image});
    if (result.exit_code == kCannotBeDoneHere) GTEST_SKIP() << result.output;
    // The image is where its file is.
    const std::string around = RunChild({"ask", image}).output;
    const std::string attributes = around.substr(0, around.find(" id "));
    EXPECT_EQ(result.output, attributes + " id " + id + " limit " + std::to_string(limit) + " drive " + at +
                                 "\n0 external removable network local id ffff limit 2 drive /\n" + around);
  }

  /// udev's database, where one is kept, says which FAT it is; the kernel does not.
  static int LimitIfUdevRuns(int limit) { return access("/run/udev/data", F_OK) == 0 ? limit : 2; }
};

TEST_F(ImageMounts, Ext4) { Check({"mkfs.ext4", "-q"}, "ef53", 2); }
TEST_F(ImageMounts, Exfat) { Check({"mkfs.exfat"}, "bab0", 2); }
TEST_F(ImageMounts, Fat12) { Check({"mkfs.vfat", "-F12", "-s64"}, "4d44", LimitIfUdevRuns(0)); }
TEST_F(ImageMounts, Fat16) { Check({"mkfs.vfat", "-F16"}, "4d44", LimitIfUdevRuns(0)); }
TEST_F(ImageMounts, Fat32) { Check({"mkfs.vfat", "-F32"}, "4d44", LimitIfUdevRuns(1)); }

TEST_F(ImageMounts, AnImageInADeadMountIsTheNetworks) {
  // What was mounted from a server stays mounted when the server is gone: here, when its folder is covered.
  const std::string image = MakeImage({"mkfs.ext4", "-q"}), at = Folder("at"), of_images = Folder("images");
  if (image.empty()) GTEST_SKIP() << "mkfs.ext4 is not installed";
  const std::string moved = of_images + "/image";
  ASSERT_EQ(rename(image.c_str(), moved.c_str()), 0);
  const ProcessResult result =
      RunChild({"private", "loop", moved, at, "fuse", "fuse.sshfs", "server:/", of_images, "ask", at});
  if (result.exit_code == kCannotBeDoneHere) GTEST_SKIP() << result.output;
  EXPECT_EQ(result.output, "0 external removable network id ef53 limit 2 drive " + at + '\n');
}

}  // namespace
