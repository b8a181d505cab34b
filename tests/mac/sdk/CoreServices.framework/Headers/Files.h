#pragma once

#include <CoreFoundation/CoreFoundation.h>

typedef SInt16 FSVolumeRefNum;

struct FSSpec {
  FSVolumeRefNum vRefNum;
  SInt32 parID;
  StrFileName name;
};
typedef struct FSSpec FSSpec;
