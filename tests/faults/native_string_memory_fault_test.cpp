// Memory that ends under the system's texts and URLs. The definitions here take the place of the standard library's for
// everything that is linked into this program.

#include <glib.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <new>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/environment_variable.h>
#include <tests/support/faults.h>
#include <tests/support/units.h>
#include <tillvane/files/LFile.h>
#include <tillvane/system/LApplicationBundle.h>
#include <tillvane/system/LCFString.h>
#include <tillvane/system/LCFURL.h>
#include <tillvane/system/LUnicodeString.h>
#include <tillvane/system/LWorkspace.h>

namespace {

// So many allocations still succeed, negative for no limit; and how many are not released yet.
int allocations_left = -1;
int live = 0;

void* Allocate(std::size_t size) {
  if (allocations_left == 0) {
    support::NoteFault("new", ENOMEM);
    throw std::bad_alloc();
  }
  if (allocations_left > 0) --allocations_left;
  void* const memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  ++live;
  return memory;
}

void Release(void* memory) {
  if (memory == nullptr) return;
  --live;
  std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void operator delete(void* memory) noexcept { Release(memory); }
void operator delete(void* memory, std::size_t) noexcept { Release(memory); }
void operator delete[](void* memory) noexcept { Release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { Release(memory); }

namespace {

/// Long enough for memory of its own.
const std::string kText = "A text that has some length, and more than a string keeps in itself";

/// Runs a function with ever more memory, until it is enough. \return how often it was not
int RunUntilItIsEnough(const std::function<void()>& function) {
  int failures = 0;
  for (;; ++failures) {
    const int before = live;
    allocations_left = failures;
    bool is_enough = true;
    try {
      function();
    } catch (const std::bad_alloc&) {
      is_enough = false;
    }
    allocations_left = -1;
    EXPECT_EQ(live, before) << "memory is lost after " << failures << " allocations";
    if (is_enough) return failures;
  }
}

TEST(NativeStringMemory, IsNotLostWhereTextsAreConverted) {
  const std::string malformed = kText + '\xFF';
  const std::u16string units(kText.begin(), kText.end());
  const auto convert = [&](const char* text) {
    LCFString string;
    string.SetString(text);
    LStringLong utf8;
    string.GetString(utf8);
    EXPECT_EQ(utf8.c_str(), kText);
    LStringLongTemplate<wchar_t> wide;
    string.GetString(wide);
    char buffer[8];
    string.GetString(buffer, sizeof buffer);
    wchar_t wide_buffer[8];
    string.GetString(wide_buffer, 8);
  };
  EXPECT_GE(RunUntilItIsEnough([&] { convert(kText.c_str()); }), 5);
  EXPECT_GE(RunUntilItIsEnough([&] { convert(malformed.c_str()); }), 5);
  EXPECT_GE(RunUntilItIsEnough([&] {
              LStringLong utf8;
              LUnicodeString(support::AsUnits(units.c_str())).GetString(utf8);
            }),
            3);
}

TEST(NativeStringMemory, IsNotLostWhereURLsAreMade) {
  EXPECT_GE(RunUntilItIsEnough([&] {
              LCFURL url;
              url.CreateFromFullPath(kText.c_str());
              char path[260];
              url.GetPath(path, sizeof path);
              LGetBundleFolder(path, sizeof path);
              url.CreateFromApplicationBundleResourcesFolder();
              url.GetPath(path, sizeof path);
            }),
            5);
}

// Whoever catches what is thrown does not find what was there before.
TEST(NativeStringMemory, WithoutItAnOutputIsEmpty) {
  LCFString string;
  string.SetString(kText.c_str());
  LCFURL url;
  url.CreateFromFullPath(kText.c_str());
  const std::u16string units(kText.begin(), kText.end());
  const LUnicodeString unicode(support::AsUnits(units.c_str()));
  char bytes[260];
  wchar_t wide[8];
  LStringLong text;
  const struct {
    const char* name;
    std::function<void()> write;
    std::function<bool()> is_empty;
  } outputs[] = {
      {"string", [&] { string.GetString(bytes, sizeof bytes); }, [&] { return bytes[0] == '\0'; }},
      {"wide string", [&] { string.GetString(wide, 8); }, [&] { return wide[0] == 0; }},
      {"unicode", [&] { unicode.GetString(text); }, [&] { return text.size() == 0; }},
      {"path", [&] { url.GetPath(bytes, sizeof bytes); }, [&] { return bytes[0] == '\0'; }},
      {"bundle", [&] { LGetBundleFolder(bytes, sizeof bytes); }, [&] { return bytes[0] == '\0'; }},
      {"help", [&] { LFile::GetHelpFolder(bytes); }, [&] { return bytes[0] == '\0'; }},
      {"resources", [&] { LGetInstalledApplicationResourcesFolder(bytes, sizeof bytes); },
       [&] { return bytes[0] == '\0'; }},
      {"nested resources", [&] { LGetInstalledApplicationNestedResourcesFolder(bytes); },
       [&] { return bytes[0] == '\0'; }},
  };
  for (const auto& output : outputs) {
    SCOPED_TRACE(output.name);
    bytes[0] = 'x';
    wide[0] = 'x';
    text.GrowToSize(2);
    text.data()[0] = 'x';
    text.SetLength(1);
    allocations_left = 0;
    EXPECT_THROW(output.write(), std::bad_alloc);
    allocations_left = -1;
    EXPECT_TRUE(output.is_empty());
  }
}

// A thread that asks the desktop has its own main context again afterwards. In a child: what GLib opens at its first
// use it keeps.
TEST(NativeStringMemory, WithoutItAThreadKeepsItsContext) {
  const auto ask = [] {
    const std::string address = "unix:path=/nowhere/" + std::string(100, 'x');
    const support::EnvironmentVariable variable("DBUS_SESSION_BUS_ADDRESS", address.c_str());
    int failures = 0;
    for (bool is_enough = false; !is_enough; ++failures) {
      allocations_left = failures;
      try {
        LRevealInFinder("/tmp");
        is_enough = true;
      } catch (const std::bad_alloc&) {
      }
      allocations_left = -1;
      if (g_main_context_get_thread_default() != nullptr) _exit(1);
    }
    _exit(failures > 2 ? 0 : 2);
  };
  EXPECT_EXIT(ask(), testing::ExitedWithCode(0), "");
}

TEST(NativeStringMemory, WithoutItThereIsNoTextAnyMore) {
  LCFString string;
  string.SetString("before");
  allocations_left = 0;
  EXPECT_THROW(string.SetString(kText.c_str()), std::bad_alloc);
  allocations_left = -1;
  EXPECT_EQ(string.Get(), nullptr);
}

}  // namespace
