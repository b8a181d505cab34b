#pragma once

#include <MacTypes.h>

#pragma pack(push, 2)

struct UTCDateTime {
  UInt16 highSeconds;
  UInt32 lowSeconds;
  UInt16 fraction;
};
typedef struct UTCDateTime UTCDateTime;

#pragma pack(pop)
