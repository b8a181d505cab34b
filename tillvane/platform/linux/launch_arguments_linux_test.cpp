#include <tillvane/platform/linux/launch_arguments_linux.h>

#include <gtest/gtest.h>

namespace {

using Arguments = std::vector<std::string>;

TEST(LaunchArguments, AreThoseOfAStartWithoutFiles) {
  const struct {
    const char* command;
    Arguments arguments;
  } cases[] = {
      {"contacts", {"contacts"}},
      {"contacts %U", {"contacts"}},
      {"contacts --new %f --end", {"contacts", "--new", "--end"}},
      {"contacts --open=%u", {"contacts", "--open="}},
      {"contacts 100%% %%U", {"contacts", "100%", "%U"}},
      {"contacts %", {"contacts"}},
      {"contacts \"a b\" 'c d' \"\"", {"contacts", "a b", "c d", ""}},
      {"\"my contacts\" \"\\$HOME\" \"a\\\\b\"", {"my contacts", "$HOME", "a\\b"}},
      // Nothing is expanded.
      {"contacts $HOME ; touch `x` *", {"contacts", "$HOME", ";", "touch", "`x`", "*"}},
      {"", {}},
      {"  ", {}},
      {"%U", {}},
      {"contacts \"open", {}},
  };
  for (const auto& c : cases) EXPECT_EQ(platform::LaunchArguments(c.command), c.arguments) << c.command;
}

}  // namespace
