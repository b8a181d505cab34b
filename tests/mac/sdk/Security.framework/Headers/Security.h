#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <Security/Authorization.h>
