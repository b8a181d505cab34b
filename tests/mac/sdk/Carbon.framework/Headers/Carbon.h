#pragma once

#include <ApplicationServices/ApplicationServices.h>
#include <Carbon/CarbonEvents.h>
#include <Carbon/CarbonEventsCore.h>
#include <CoreServices/CoreServices.h>
