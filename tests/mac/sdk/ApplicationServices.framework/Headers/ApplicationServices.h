#pragma once

#include <ApplicationServices/Processes.h>
#include <CoreServices/CoreServices.h>
