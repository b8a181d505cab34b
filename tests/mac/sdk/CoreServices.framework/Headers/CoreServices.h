#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/AEDataModel.h>
#include <CoreServices/Files.h>
#include <CoreServices/Folders.h>
#include <CoreServices/Gestalt.h>
#include <CoreServices/LaunchServices.h>
#include <CoreServices/MacErrors.h>
#include <CoreServices/TextCommon.h>
#include <CoreServices/UTCUtils.h>
