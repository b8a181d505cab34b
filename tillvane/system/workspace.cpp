#include <tillvane/platform/workspace.h>
#include <tillvane/system/LWorkspace.h>

OSStatus LOpenAddressBook() { return platform::OpenAddressBook(); }

bool LRevealInFinder(const char* path) { return path != nullptr && path[0] != '\0' && platform::RevealFile(path); }

void LOpenSoundPane() {}

void LOpenUniversalAccessPane() {}
