#include <tillvane/platform/linux/user_dirs_linux.h>

#include <string>

#include <gtest/gtest.h>

namespace {

using platform::UserDirectoryOf;

TEST(UserDirs, OneLine) {
  const struct {
    std::string line, folder;
  } cases[] = {
      {R"(XDG_DOWNLOAD_DIR="$HOME/Downloads")", "/home/ada/Downloads"},
      {R"(XDG_DOWNLOAD_DIR="$HOME/a/b c")", "/home/ada/a/b c"},
      {R"(XDG_DOWNLOAD_DIR="/data/down")", "/data/down"},
      {"XDG_DOWNLOAD_DIR=\"/t\xC3\xA9l\xC3\xA9/\xFF\"", "/t\xC3\xA9l\xC3\xA9/\xFF"},
      // Slashes at the ends.
      {R"(XDG_DOWNLOAD_DIR="/data/down///")", "/data/down"},
      {R"(XDG_DOWNLOAD_DIR="//data/down")", "/data/down"},
      {R"(XDG_DOWNLOAD_DIR="/")", "/"},
      {R"(XDG_DOWNLOAD_DIR="///")", "/"},
      // The home stands for a folder that the user does not want.
      {R"(XDG_DOWNLOAD_DIR="$HOME")", "/home/ada"},
      {R"(XDG_DOWNLOAD_DIR="$HOME/")", "/home/ada"},
      // Blanks, and what follows.
      {"\t XDG_DOWNLOAD_DIR \t=\t \"/data\" # mine", "/data"},
      {"XDG_DOWNLOAD_DIR=\"/data\"\r", "/data"},
      {R"(XDG_DOWNLOAD_DIR="/data"/more)", "/data"},
      // Escapes.
      {R"(XDG_DOWNLOAD_DIR="/a\"b\\c\$d\`e\f")", R"(/a"b\c$d`ef)"},
      {R"(XDG_DOWNLOAD_DIR="/a$HOME")", "/a$HOME"},
      // Nothing of the kind.
      {"", ""},
      {"XDG_DOWNLOAD_DIR", ""},
      {"XDG_DOWNLOAD_DIR=", ""},
      {R"(XDG_DOWNLOAD_DIR=")", ""},
      {R"(XDG_DOWNLOAD_DIR="")", ""},
      {R"(XDG_DOWNLOAD_DIR="/data)", ""},
      {R"(XDG_DOWNLOAD_DIR="/data\")", ""},
      {R"(XDG_DOWNLOAD_DIR="/data\)", ""},
      {R"(XDG_DOWNLOAD_DIR=/data)", ""},
      {R"(XDG_DOWNLOAD_DIR='/data')", ""},
      {R"(XDG_DOWNLOAD_DIR="data")", ""},
      {R"(XDG_DOWNLOAD_DIR="~/data")", ""},
      {R"(XDG_DOWNLOAD_DIR="\$HOME/data")", ""},
      {R"(XDG_DOWNLOAD_DIR="$HOMER/data")", ""},
      {R"(XDG_DOWNLOAD_DIR="${HOME}/data")", ""},
      {R"(#XDG_DOWNLOAD_DIR="/data")", ""},
      {R"(export XDG_DOWNLOAD_DIR="/data")", ""},
      {R"(XDG_DOWNLOADS_DIR="/data")", ""},
      {R"(XDG_DOWNLOAD_DIRS="/data")", ""},
      {R"(XDG_MUSIC_DIR="/data")", ""},
      {R"(xdg_download_dir="/data")", ""},
      {std::string("XDG_DOWNLOAD_DIR=\"/da\0ta\"", 25), ""},
  };
  for (const auto& c : cases) EXPECT_EQ(UserDirectoryOf(c.line, "DOWNLOAD", "/home/ada"), c.folder) << c.line;
}

TEST(UserDirs, SeveralLines) {
  const std::string text =
      "# This file is written by xdg-user-dirs-update\n\n"
      "XDG_MUSIC_DIR=\"$HOME/Music\"\n"
      "XDG_DOWNLOAD_DIR=\"$HOME/first\"\n"
      "XDG_DOWNLOAD_DIR=\"$HOME/second\"\n"
      "XDG_DOWNLOAD_DIR=\"third\"\n"
      "XDG_VIDEOS_DIR=\"/cut";
  EXPECT_EQ(UserDirectoryOf(text, "MUSIC", "/home/ada"), "/home/ada/Music");
  EXPECT_EQ(UserDirectoryOf(text, "DOWNLOAD", "/home/ada"), "/home/ada/second") << "the last one that is right";
  EXPECT_EQ(UserDirectoryOf(text, "VIDEOS", "/home/ada"), "");
  EXPECT_EQ(UserDirectoryOf(text, "PICTURES", "/home/ada"), "");
  EXPECT_EQ(UserDirectoryOf(text, "MUSIC", "/"), "/Music");
  // A quoted text ends with its line.
  EXPECT_EQ(UserDirectoryOf("XDG_MUSIC_DIR=\"/a\nb\"\n", "MUSIC", "/home/ada"), "");
}

}  // namespace
