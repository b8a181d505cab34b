#pragma once

#include <CoreServices/CoreServices.h>

enum { kNoProcess = 0, kCurrentProcess = 2 };

#pragma pack(push, 2)

struct ProcessInfoRec {
  UInt32 processInfoLength;
  StringPtr processName;
  ProcessSerialNumber processNumber;
  UInt32 processType;
  OSType processSignature;
  UInt32 processMode;
  Ptr processLocation;
  UInt32 processSize;
  UInt32 processFreeMem;
  ProcessSerialNumber processLauncher;
  UInt32 processLaunchDate;
  UInt32 processActiveTime;
  FSRefPtr processAppRef;
};
typedef struct ProcessInfoRec ProcessInfoRec;

#pragma pack(pop)

CF_EXTERN OSErr GetNextProcess(ProcessSerialNumber* process) API_DEPRECATED("", macos(10.0, 10.9));
CF_EXTERN OSErr GetProcessInformation(const ProcessSerialNumber* process, ProcessInfoRec* info)
    API_DEPRECATED("", macos(10.0, 10.9));
CF_EXTERN OSStatus GetProcessBundleLocation(const ProcessSerialNumber* process, FSRef* file)
    API_DEPRECATED("", macos(10.0, 10.9));
