// A command-line program over the toolkit: paths, processes, commands, the administrator's rights, the user's locale.
//
// Each area is a file of its own: path_command.cpp, ps_command.cpp, run_command.cpp, locale_command.cpp.

#include <tillvane/tillvane.h>

#include <cstdio>
#include <cstring>

#include "commands.h"

namespace {

constexpr const char* kHelp = R"(usage: toolkit COMMAND [ARGUMENTS]

  path split PATH            its folder, file, name and extension
  path absolute BASE PATH    PATH as seen from the folder BASE
  path relative BASE TARGET  the way from the folder BASE to TARGET
  path match PATTERN NAME... the names that match; * is anything, ? is one character
  ps [NAME]                  the processes, or those of this name
  run COMMAND                what a shell command writes
  sudo TOOL [ARGUMENT...]    the same with the administrator's rights: the system asks for them
  locale                     the user, the locale and the system

Exit status: 0 done, 1 nothing found or not allowed, 2 wrong use, 130 the question for rights was cancelled.
)";

struct Command {
  const char* name;
  int (*run)(int count, char** arguments);
};

constexpr Command kCommands[] = {
    {"path", &toolkit::PathCommand}, {"ps", &toolkit::PsCommand},         {"run", &toolkit::RunCommand},
    {"sudo", &toolkit::SudoCommand}, {"locale", &toolkit::LocaleCommand},
};

}  // namespace

int main(int argc, char** argv) {
  // From here on gargc and gargv are the command line.
  LUnixAppInitCommon(argc, argv);
  const char* const name = gargc > 1 ? gargv[1] : "";
  if (std::strcmp(name, "--help") == 0 || std::strcmp(name, "help") == 0) {
    std::fputs(kHelp, stdout);
    return toolkit::kDone;
  }
  int status = toolkit::kWrongUse;
  for (const Command& command : kCommands) {
    if (std::strcmp(name, command.name) == 0) status = command.run(gargc - 2, gargv + 2);
  }
  if (status == toolkit::kWrongUse) std::fputs("toolkit: wrong use; toolkit --help lists what there is\n", stderr);
  return status;
}
