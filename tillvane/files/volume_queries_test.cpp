#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/guarded_text.h>
#include <tests/support/temp_folder.h>
#include <tillvane/files/LFile.h>

namespace {

std::string DriveOf(const std::string& path) {
  support::GuardedText out(260);
  LFile::GetHumanReadableDriveFromPath(out.Get(), path.c_str());
  return out.Text();
}

constexpr const char* kOfTheNetwork = "on a network volume every path counts as one that is there";

bool IsOfTheNetwork(const support::TempFolder& folder) {
  return LFile::IsNetworkPath("/") || LFile::IsNetworkPath(folder.Path().c_str());
}

TEST(VolumeQueries, OfAPathThatIsNotThere) {
  const support::TempFolder folder;
  if (IsOfTheNetwork(folder)) GTEST_SKIP() << kOfTheNetwork;
  const std::string file = folder.Write("file", "");
  ASSERT_EQ(symlink("nothing", folder.File("dangling").c_str()), 0);
  ASSERT_EQ(symlink("circle", folder.File("circle").c_str()), 0);
  for (const std::string& path :
       {std::string("/nowhere/x"), folder.File("missing"), file + "/x", file + "/", folder.File("dangling"),
        folder.File("circle"), std::string(), "/" + std::string(300, 'x'), "/" + std::string(5000, '/') + "nowhere"}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(LFile::GetVolumeAttributes(path.c_str()), 0u);
    EXPECT_TRUE(LFile::IsOnExternalDrive(path.c_str()));
    EXPECT_TRUE(LFile::IsOnRemovableMedia(path.c_str()));
    EXPECT_TRUE(LFile::IsNetworkPath(path.c_str()));
    EXPECT_EQ(LFile::GetVolumeFileSystemID(path.c_str()), 0xFFFF);
    EXPECT_TRUE(LFile::IsOnLocalDrive(path.c_str()));
    EXPECT_EQ(LFile::GetVolumeFileSizeLimit(path.c_str()), 2);
  }
}

TEST(VolumeQueries, TheDriveOfAPathThatIsNotThere) {
  const support::TempFolder folder;
  if (IsOfTheNetwork(folder)) GTEST_SKIP() << kOfTheNetwork;
  EXPECT_EQ(DriveOf("D:\\stuff"), "D:\\");
  EXPECT_EQ(DriveOf("/nowhere/x"), "/");
  EXPECT_EQ(DriveOf("~x"), "");
  EXPECT_EQ(DriveOf(""), "");
  EXPECT_EQ(DriveOf(folder.File("missing")), "/");
}

TEST(VolumeQueries, TheDriveOfAPathThatIsThereIsAFolderAboveIt) {
  const support::TempFolder folder;
  for (const std::string& path : {std::string("/"), folder.Path(), folder.Write("file", "")}) {
    const std::string drive = DriveOf(path), real_path = std::filesystem::canonical(path).string();
    EXPECT_EQ(DriveOf(drive), drive) << path;
    EXPECT_EQ(real_path.compare(0, drive.size(), drive), 0) << real_path << " is not in " << drive;
  }
}

TEST(VolumeQueries, AFileHasTheAnswersOfItsFolder) {
  const support::TempFolder folder;
  const std::string file = folder.Write("file", "");
  ASSERT_EQ(symlink("file", folder.File("link").c_str()), 0);
  const unsigned int attributes = LFile::GetVolumeAttributes(folder.Path().c_str());
  const unsigned short id = LFile::GetVolumeFileSystemID(folder.Path().c_str());
  EXPECT_NE(id, 0xFFFF);
  for (const std::string& path : {file, folder.File("link"), folder.Path() + "/", folder.File("./.")}) {
    EXPECT_EQ(LFile::GetVolumeAttributes(path.c_str()), attributes) << path;
    EXPECT_EQ(LFile::GetVolumeFileSystemID(path.c_str()), id) << path;
    EXPECT_EQ(DriveOf(path), DriveOf(folder.Path())) << path;
  }
}

TEST(VolumeQueries, TheFolderOfMountedDrivesAndOfShares) {
  support::GuardedText drives(260), shares(260);
  const int status = LFile::GetMountedDrivesFolder(drives.Get());
  EXPECT_EQ(LFile::GetNetworkSharesFolder(shares.Get()), status);
  EXPECT_EQ(shares.Text(), drives.Text());
  struct stat info;
  if (status != 0) {
    EXPECT_EQ(drives.Text(), "/Volumes");
  } else {
    ASSERT_EQ(stat(drives.Text().c_str(), &info), 0) << drives.Text();
    EXPECT_TRUE(S_ISDIR(info.st_mode)) << drives.Text();
  }
}

}  // namespace
