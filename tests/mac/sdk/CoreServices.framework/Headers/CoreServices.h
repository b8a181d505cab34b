#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/AEDataModel.h>
#include <CoreServices/Files.h>
