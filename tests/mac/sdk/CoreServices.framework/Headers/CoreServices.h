#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/AEDataModel.h>
#include <CoreServices/Files.h>
#include <CoreServices/Gestalt.h>
#include <CoreServices/LaunchServices.h>
