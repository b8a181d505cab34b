// The folders of programs that are confined in the ways that there are, or not at all: see known_folders_child.cpp.

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/child_process.h>
#include <tests/support/files.h>
#include <tests/support/report.h>
#include <tests/support/temp_folder.h>

namespace {

namespace fs = std::filesystem;

using support::ProcessResult;
using support::Report;
using Texts = std::vector<std::string>;

constexpr unsigned int kEndMs = 60000;

class KnownFoldersProcess : public testing::Test {
 protected:
  KnownFoldersProcess() {
    support::MakeFolder(home_ + "/Downloads");
    fs::copy_file(TILLVANE_TEST_HELPER, program_);
  }

  /// \param environment all that the program's has
  Report Ask(const Texts& environment, const Texts& paths = {}, const Texts& wrapper = {}) const {
    Texts command = wrapper;
    command.insert(command.end(), {"/usr/bin/env", "-i"});
    command.insert(command.end(), environment.begin(), environment.end());
    command.push_back(program_);
    command.insert(command.end(), paths.begin(), paths.end());
    const ProcessResult result = support::RunProcess(command, kEndMs);
    EXPECT_EQ(result.exit_code, 0) << "signal " << result.signal << ": " << result.errors;
    EXPECT_EQ(result.errors, "");
    return support::ReadReport(result.output);
  }

  const support::TempFolder folder_;
  const std::string root_ = fs::canonical(folder_.Path()).string();
  const std::string home_ = root_ + "/ada";
  const std::string program_ = root_ + "/program";
};

TEST_F(KnownFoldersProcess, Unconfined) {
  support::MakeFile(home_ + "/Downloads/file");
  Report report = Ask({"HOME=" + home_}, {home_ + "/Downloads/file", home_ + "/Downloads/new"});
  EXPECT_EQ(report["home"], home_);
  EXPECT_EQ(report["data"], home_ + "/.local/share");
  EXPECT_EQ(report["own"], home_ + "/.local/share/Tillvane");
  EXPECT_EQ(report["downloads"], home_ + "/Downloads");
  EXPECT_EQ(report["music"], home_ + "/Music");
  EXPECT_TRUE(fs::is_directory(home_ + "/Music"));
  EXPECT_EQ(report["help"], root_ + "/Contents/Resources/help");
  EXPECT_EQ(report["program"], root_);
  EXPECT_EQ(report["temporary"], "/tmp");
  EXPECT_EQ(report["outside"], "none none");
}

TEST_F(KnownFoldersProcess, WithoutAHomeInTheEnvironmentItIsTheAccounts) {
  support::MakeFolder(root_ + "/config");
  support::MakeFile(root_ + "/config/user-dirs.dirs", "XDG_DOWNLOAD_DIR=\"/down\"\nXDG_MUSIC_DIR=\"/sounds\"\n");
  Report report = Ask({"XDG_DATA_HOME=" + root_ + "/data", "XDG_CONFIG_HOME=" + root_ + "/config"});
  EXPECT_EQ(report["home"], report["account"]);
  EXPECT_EQ(report["data"], root_ + "/data");
  EXPECT_EQ(report["downloads"], "/down");
}

TEST_F(KnownFoldersProcess, InABundle) {
  const std::string bundle = root_ + "/Shop.app", program = bundle + "/Contents/MacOS/shop";
  support::MakeFolder(bundle + "/Contents/MacOS");
  fs::copy_file(TILLVANE_TEST_HELPER, program);
  Report report =
      support::ReadReport(support::RunProcess({"/usr/bin/env", "-i", "HOME=" + home_, program}, kEndMs).output);
  EXPECT_EQ(report["program"], bundle);
  EXPECT_EQ(report["help"], bundle + "/Contents/Resources/help");
}

TEST_F(KnownFoldersProcess, InASnap) {
  // The home of a snap, and the links in it that snaps make at their start.
  const std::string container = home_ + "/snap/shop/7";
  support::MakeFolder(container + "/.config");
  fs::create_directory_symlink(home_ + "/Downloads", container + "/Downloads");
  support::MakeFile(container + "/.config/user-dirs.dirs",
                    "XDG_DOWNLOAD_DIR=\"$HOME/Downloads\"\nXDG_MUSIC_DIR=\"" + home_ + "/Sounds\"\n");
  support::MakeFolder(root_ + "/snap/usr/share/applications");
  Report report = Ask({"HOME=" + container, "SNAP=" + root_ + "/snap", "SNAP_USER_DATA=" + container,
                       "SNAP_REAL_HOME=" + home_, "XDG_DATA_HOME=" + container + "/.local/share",
                       "XDG_DATA_DIRS=" + root_ + "/snap/usr/share:/usr/share", "TMPDIR=" + root_ + "/run"},
                      {container + "/Downloads/new.txt", container + "/Downloads", container + "/Music/new.txt"});
  EXPECT_EQ(report["home"], container);
  EXPECT_EQ(report["data"], container + "/.local/share");
  EXPECT_EQ(report["own"], container + "/.local/share/Tillvane");
  EXPECT_EQ(report["downloads"], container + "/Downloads");
  EXPECT_EQ(report["music"], home_ + "/Sounds");
  EXPECT_EQ(report["applications"], root_ + "/snap/usr/share/applications");
  EXPECT_EQ(report["temporary"], root_ + "/run");
  EXPECT_EQ(report["outside"], home_ + "/Downloads/new.txt " + home_ + "/Downloads none");
}

/// In a root of its own, which has the file that Flatpak puts there.
class FlatpakProcess : public KnownFoldersProcess {
 protected:
  void SetUp() override {
    const ProcessResult result = support::RunProcess({"/usr/bin/env", "unshare", "-rm", "true"}, kEndMs);
    if (result.exit_code != 0) GTEST_SKIP() << "no mounts of one's own: " << result.errors;
  }

  Report AskInside(const Texts& environment, const Texts& paths = {}) const {
    const std::string script =
        "mount -t tmpfs none " + root_ +
        "/jail && cd \"$0\"/jail && : >.flatpak-info && for entry in /*; do "
        "if [ -L \"$entry\" ]; then cp -P \"$entry\" .; "
        "elif [ -d \"$entry\" ]; then mkdir \".$entry\" && mount --rbind \"$entry\" \".$entry\" || exit 1; fi; done && "
        "exec chroot . \"$@\"";
    support::MakeFolder(root_ + "/jail");
    return Ask(environment, paths, {"/usr/bin/env", "unshare", "-rm", "sh", "-c", script, root_});
  }

  const std::string container_ = home_ + "/.var/app/org.example.Shop";
};

TEST_F(FlatpakProcess, HasAContainer) {
  support::MakeFolder(container_ + "/config");
  support::MakeFile(container_ + "/config/user-dirs.dirs", "XDG_DOWNLOAD_DIR=\"" + home_ + "/Downloads\"\n");
  fs::create_directory_symlink(home_ + "/Downloads", container_ + "/Downloads");
  Report report = AskInside({"HOME=" + home_, "FLATPAK_ID=org.example.Shop", "XDG_DATA_HOME=" + container_ + "/data",
                             "XDG_CONFIG_HOME=" + container_ + "/config", "TMPDIR=/tmp"},
                            {container_ + "/Downloads/new.txt", home_ + "/Downloads", container_ + "/new/new.txt"});
  EXPECT_EQ(report["home"], container_);
  EXPECT_EQ(report["data"], container_ + "/data");
  EXPECT_EQ(report["downloads"], home_ + "/Downloads");
  EXPECT_EQ(report["music"], container_ + "/Music");
  EXPECT_TRUE(fs::is_directory(container_ + "/Music"));
  EXPECT_EQ(report["temporary"], "/var/tmp");
  EXPECT_EQ(report["outside"], home_ + "/Downloads/new.txt " + home_ + "/Downloads none");
}

TEST_F(FlatpakProcess, AnotherProgramsNameMeansNothingOutside) {
  Report report = Ask({"HOME=" + home_, "FLATPAK_ID=org.example.Shop"});
  EXPECT_EQ(report["home"], home_);
  EXPECT_EQ(report["temporary"], "/tmp");
}

}  // namespace
