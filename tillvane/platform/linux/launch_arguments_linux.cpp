#include <tillvane/platform/linux/launch_arguments_linux.h>

#include <glib.h>

#include <cstddef>
#include <string_view>

namespace platform {

namespace {

std::string WithoutFieldCodes(std::string_view argument) {
  std::string result;
  for (std::size_t i = 0; i < argument.size(); ++i) {
    if (argument[i] != '%') {
      result += argument[i];
    } else if (++i < argument.size() && argument[i] == '%') {
      result += '%';
    }
  }
  return result;
}

}  // namespace

std::vector<std::string> LaunchArguments(const std::string& command) {
  gchar** words = nullptr;
  std::vector<std::string> arguments;
  if (g_shell_parse_argv(command.c_str(), nullptr, &words, nullptr) == FALSE) return arguments;
  for (gchar** word = words; *word != nullptr; ++word) {
    std::string argument = WithoutFieldCodes(*word);
    // What was empty before is meant.
    if (!argument.empty() || **word == '\0') arguments.push_back(std::move(argument));
  }
  g_strfreev(words);
  return arguments;
}

}  // namespace platform
