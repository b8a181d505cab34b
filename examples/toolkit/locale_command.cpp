#include <tillvane/tillvane.h>

#include <clocale>
#include <cstdio>

#include "commands.h"

namespace toolkit {

int LocaleCommand(int count, char**) {
  if (count != 0) return kWrongUse;
  char resources[260];
  LGetInstalledApplicationResourcesFolder(resources, sizeof resources);
  std::printf("locale        %s\n", LGetLocale(LC_ALL));
  std::printf("root          %s\n", LIsUserRoot() ? "yes" : "no");
  std::printf("administrator %s\n", LIsUserAdministrator() ? "yes" : "no");
  std::printf("64-bit        %s\n", LIsOS64Bit() ? "yes" : "no");
  std::printf("resources     %s\n", resources);
  return kDone;
}

}  // namespace toolkit
