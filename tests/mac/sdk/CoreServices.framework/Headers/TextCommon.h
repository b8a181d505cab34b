#pragma once

#include <MacTypes.h>

typedef UInt32 TextEncoding;
