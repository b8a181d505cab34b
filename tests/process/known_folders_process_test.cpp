// The folders of programs that are confined in the ways that there are, or not at all: see known_folders_child.cpp.

#include <pwd.h>
#include <unistd.h>

#include <cstddef>
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
    Install("program");
  }

  /// Puts the program somewhere in the root.
  void Install(const std::string& name) {
    program_ = root_ + '/' + name;
    support::MakeFolder(fs::path(program_).parent_path().string());
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

  /// Expects the home that is in a user's account, and what is asked for in it, whatever the environment says.
  static void ExpectAccountOf(uid_t user, Report* report) {
    // Not every user has an entry.
    const passwd* const entry = getpwuid(user);
    const std::string home = entry != nullptr ? entry->pw_dir : "";
    const std::string folder = home.empty() || home.ends_with('/') ? home : home + '/';
    EXPECT_EQ((*report)["account"], home);
    EXPECT_EQ((*report)["account-downloads"], folder + "Downloads");
    EXPECT_EQ((*report)["account-pictures"], folder + "Pictures");
    EXPECT_EQ((*report)["account-video"], folder + "Movies");
    EXPECT_EQ((*report)["account-music"], folder + "Music");
  }

  const support::TempFolder folder_;
  const std::string root_ = fs::canonical(folder_.Path()).string() + "/a place";
  const std::string home_ = root_ + "/ada";
  std::string program_;
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
  ExpectAccountOf(getuid(), &report);
  EXPECT_EQ(report["home"], report["account"].empty() ? "/" : report["account"]);
  EXPECT_EQ(report["data"], root_ + "/data");
  EXPECT_EQ(report["downloads"], "/down");
}

TEST_F(KnownFoldersProcess, InABundle) {
  Install("Shop.app/Contents/MacOS/shop");
  Report report = Ask({"HOME=" + home_});
  EXPECT_EQ(report["program"], root_ + "/Shop.app");
  EXPECT_EQ(report["help"], root_ + "/Shop.app/Contents/Resources/help");
}

TEST_F(KnownFoldersProcess, InAnAppImage) {
  Install("mount/usr/bin/shop");
  Report report = Ask({"HOME=" + home_, "APPDIR=" + root_ + "/mount"});
  EXPECT_EQ(report["program"], root_ + "/mount");
  EXPECT_EQ(report["help"], root_ + "/mount/Contents/Resources/help");
}

TEST_F(KnownFoldersProcess, InABundleWhosePathIsNotUTF8) {
  Install("Sh\xFFop.app/Contents/MacOS/shop");
  Report report = Ask({"HOME=" + home_});
  EXPECT_EQ(report["program"], "");
  EXPECT_EQ(report["help"], "");
}

/// A program in a bundle whose path has so many bytes; the last ones before ".app" are a letter of two.
class LongBundleProcess : public KnownFoldersProcess {
 protected:
  Report AskInBundle(std::size_t length) {
    const std::string folder = root_ + '/' + std::string(100, 'a') + '/';
    bundle_ = folder + std::string(length - folder.size() - 6, 'b') + "ü.app";
    Install(bundle_.substr(root_.size() + 1) + "/Contents/MacOS/shop");
    return Ask({"HOME=" + home_});
  }

  std::string bundle_;
};

TEST_F(LongBundleProcess, TheBundleIsCutBetweenCharacters) {
  // The letter's first byte would be the last one that fits.
  Report report = AskInBundle(264);
  EXPECT_EQ(report["program"], bundle_.substr(0, 258));
  EXPECT_EQ(report["help"], bundle_.substr(0, 259)) << "help is cut at its bytes";
}

TEST_F(LongBundleProcess, TheHelpIsCutWhereItsRoomEnds) {
  Report report = AskInBundle(250);
  EXPECT_EQ(report["program"], bundle_);
  EXPECT_EQ(report["help"], bundle_ + "/Contents");
}

TEST_F(KnownFoldersProcess, InASnap) {
  // The home of a snap, and the links in it that snaps make at their start.
  const std::string container = home_ + "/snap/shop/7";
  support::MakeFolder(container + "/.config");
  fs::create_directory_symlink(home_ + "/Downloads", container + "/Downloads");
  support::MakeFile(container + "/.config/user-dirs.dirs",
                    "XDG_DOWNLOAD_DIR=\"$HOME/Downloads\"\nXDG_MUSIC_DIR=\"" + home_ + "/Sounds\"\n");
  const std::string applications = root_ + "/snap/usr/share/applications";
  support::MakeFolder(applications);
  support::MakeFile(applications + "/org.example.Shop.desktop");
  Report report = Ask(
      {"HOME=" + container, "SNAP=" + root_ + "/snap", "SNAP_USER_DATA=" + container, "SNAP_REAL_HOME=" + home_,
       "XDG_DATA_HOME=" + container + "/.local/share", "XDG_DATA_DIRS=" + root_ + "/snap/usr/share:/usr/share",
       "TMPDIR=" + root_ + "/run"},
      {container + "/Downloads/new.txt", container + "/Downloads", container + "/Music/new.txt", home_ + "/Downloads"});
  ExpectAccountOf(getuid(), &report);
  EXPECT_EQ(report["home"], container);
  EXPECT_EQ(report["data"], container + "/.local/share");
  EXPECT_EQ(report["own"], container + "/.local/share/Tillvane");
  EXPECT_EQ(report["downloads"], container + "/Downloads");
  EXPECT_EQ(report["music"], home_ + "/Sounds");
  EXPECT_EQ(report["applications"], applications);
  EXPECT_EQ(report["shop"], applications + "/org.example.Shop.desktop");
  EXPECT_EQ(report["bakery"], "none");
  EXPECT_EQ(report["temporary"], root_ + "/run");
  EXPECT_EQ(report["inside"], "yes yes yes no");
  const std::string downloads = home_ + "/Downloads";
  EXPECT_EQ(report["outside"], downloads + "/new.txt " + downloads + " none " + downloads);
}

TEST_F(KnownFoldersProcess, AnotherProgramsNameMeansNothingOutsideOfFlatpak) {
  if (support::IsThere("/.flatpak-info")) GTEST_SKIP() << "this is inside Flatpak";
  Report report = Ask({"HOME=" + home_, "FLATPAK_ID=org.example.Shop"});
  EXPECT_EQ(report["home"], home_);
  EXPECT_EQ(report["temporary"], "/tmp");
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
        "mount -t tmpfs none \"$0\"/jail && cd \"$0\"/jail && : >.flatpak-info && for entry in /*; do "
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
  support::MakeFolder(container_ + "/data/applications");
  support::MakeFile(container_ + "/data/applications/org.example.Shop.desktop");
  Report report = AskInside({"HOME=" + home_, "FLATPAK_ID=org.example.Shop", "XDG_DATA_HOME=" + container_ + "/data",
                             "XDG_CONFIG_HOME=" + container_ + "/config", "TMPDIR=/tmp"},
                            {container_ + "/Downloads/new.txt", home_ + "/Downloads", container_ + "/new/new.txt"});
  // There it is the administrator.
  ExpectAccountOf(0, &report);
  EXPECT_EQ(report["shop"], container_ + "/data/applications/org.example.Shop.desktop");
  EXPECT_EQ(report["bakery"], "none");
  EXPECT_EQ(report["inside"], "yes no yes");
  EXPECT_EQ(report["home"], container_);
  EXPECT_EQ(report["data"], container_ + "/data");
  EXPECT_EQ(report["downloads"], home_ + "/Downloads");
  EXPECT_EQ(report["music"], container_ + "/Music");
  EXPECT_TRUE(fs::is_directory(container_ + "/Music"));
  EXPECT_EQ(report["temporary"], "/var/tmp");
  EXPECT_EQ(report["outside"], home_ + "/Downloads/new.txt " + home_ + "/Downloads none");
}

}  // namespace
