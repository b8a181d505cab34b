#include <tillvane/platform/linux/document_portal_linux.h>

#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include <tests/support/environment_variable.h>

namespace {

using support::EnvironmentVariable;

TEST(DocumentPortal, ADocumentIsKnownByItsPath) {
  const EnvironmentVariable runtime("XDG_RUNTIME_DIR", "/run/user/7");
  const struct {
    const char *path, *id, *rest;
  } cases[] = {
      {"/run/user/7/doc/1a2b/x.txt", "1a2b", "x.txt"},
      {"/run/user/7/doc/1a2b/folder/x y", "1a2b", "folder/x y"},
      {"/run/flatpak/doc/1a2b/x", "1a2b", "x"},
      {"/run/user/7/doc/by-app/org.example/1a2b/x", "", ""},
      {"/run/user/7/doc/1a2b", "", ""},
      {"/run/user/7/doc/1a2b/", "", ""},
      {"/run/user/7/doc//x", "", ""},
      {"/run/user/7/doc", "", ""},
      {"/run/user/7/doc/1a2b//x", "1a2b", "x"},
      {"/run/user/7/doc/1a2b///x//y", "1a2b", "x//y"},
      {"/run/user/7/doc/1a2b//", "", ""},
      {"/run/user/7/doc/1a 2b~/x", "1a 2b~", "x"},
      {"/run/user/7/doc/1a\xC3\xBC/x", "", ""},
      {"/run/user/7/doc/1a\xFF/x", "", ""},
      {"/run/user/7/doc/1a\x1F/x", "", ""},
      {"/run/user/7/doc/1a\x7F/x", "", ""},
      {"/run/user/7/docs/1a2b/x", "", ""},
      {"/run/user/8/doc/1a2b/x", "", ""},
      {"/x/run/user/7/doc/1a2b/x", "", ""},
      {"/", "", ""},
      {"", "", ""},
  };
  for (const auto& c : cases) {
    const platform::PortalDocument document = platform::PortalDocumentOf(c.path);
    EXPECT_EQ(document.id, c.id) << c.path;
    EXPECT_EQ(document.rest, c.rest) << c.path;
  }
}

TEST(DocumentPortal, TheRuntimeFolderMayEndInSlashes) {
  for (const char* folder : {"/run/user/7/", "/run/user/7//"}) {
    const EnvironmentVariable runtime("XDG_RUNTIME_DIR", folder);
    EXPECT_EQ(platform::PortalDocumentOf("/run/user/7/doc/1a2b/x").id, "1a2b") << folder;
  }
}

// As it does in a snap.
TEST(DocumentPortal, TheRuntimeFolderMayBeAnothersThanThePortals) {
  const std::string user = "/run/user/" + std::to_string(geteuid()), other = user + "0";
  const std::string snap = user + "/snap.name";
  for (const char* folder : {static_cast<const char*>(nullptr), snap.c_str(), user.c_str()}) {
    const EnvironmentVariable runtime("XDG_RUNTIME_DIR", folder);
    EXPECT_EQ(platform::PortalDocumentOf(user + "/doc/1a2b/x").id, "1a2b");
    EXPECT_EQ(platform::PortalDocumentOf(other + "/doc/1a2b/x").id, "");
  }
}

TEST(DocumentPortal, WithoutARuntimeFolderNothingIsADocument) {
  for (const char* folder : {static_cast<const char*>(nullptr), "", "relative"}) {
    const EnvironmentVariable runtime("XDG_RUNTIME_DIR", folder);
    EXPECT_EQ(platform::PortalDocumentOf("/doc/1a2b/x").id, "");
    EXPECT_EQ(platform::PortalDocumentOf("relative/doc/1a2b/x").id, "");
  }
}

}  // namespace
