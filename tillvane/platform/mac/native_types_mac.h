#pragma once

#include <CoreFoundation/CFSocket.h>
