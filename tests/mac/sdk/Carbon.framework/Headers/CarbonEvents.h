#pragma once

#include <Carbon/CarbonEventsCore.h>

CF_EXTERN EventTargetRef GetApplicationEventTarget(void);
