#pragma once

#include <CoreFoundation/CoreFoundation.h>

typedef SInt16 FSVolumeRefNum;
typedef UInt32 FSCatalogInfoBitmap;
typedef UInt32 FSVolumeInfoBitmap;

/* Laid out for processors that aligned to two bytes. */
#pragma pack(push, 2)

struct FSSpec {
  FSVolumeRefNum vRefNum;
  SInt32 parID;
  StrFileName name;
};
typedef struct FSSpec FSSpec;
typedef FSSpec* FSSpecPtr;

struct FSRef {
  UInt8 hidden[80];
};
typedef struct FSRef FSRef;
typedef FSRef* FSRefPtr;

struct HFSUniStr255 {
  UInt16 length;
  UniChar unicode[255];
};
typedef struct HFSUniStr255 HFSUniStr255;

struct UTCDateTime {
  UInt16 highSeconds;
  UInt32 lowSeconds;
  UInt16 fraction;
};
typedef struct UTCDateTime UTCDateTime;

struct FSCatalogInfo {
  UInt16 nodeFlags;
  FSVolumeRefNum volume;
  UInt32 parentDirID;
  UInt32 nodeID;
  UInt8 sharingFlags;
  UInt8 userPrivileges;
  UInt8 reserved1;
  UInt8 reserved2;
  UTCDateTime createDate;
  UTCDateTime contentModDate;
  UTCDateTime attributeModDate;
  UTCDateTime accessDate;
  UTCDateTime backupDate;
  UInt32 permissions[4];
  UInt8 finderInfo[16];
  UInt8 extFinderInfo[16];
  UInt64 dataLogicalSize;
  UInt64 dataPhysicalSize;
  UInt64 rsrcLogicalSize;
  UInt64 rsrcPhysicalSize;
  UInt32 valence;
  UInt32 textEncodingHint;
};
typedef struct FSCatalogInfo FSCatalogInfo;

#pragma pack(pop)

typedef struct FSVolumeInfo FSVolumeInfo;

/* The number of what a volume's root folder lies in. */
enum { fsRtParID = 1 };

enum {
  kFSCatInfoNodeFlags = 0x0002,
  kFSCatInfoVolume = 0x0004,
  kFSCatInfoParentDirID = 0x0008,
  kFSCatInfoNodeID = 0x0010
};
enum { kFSNodeIsDirectoryMask = 0x0010 };
enum { kFSVolInfoNone = 0 };

CF_EXTERN OSStatus FSPathMakeRef(const UInt8* path, FSRef* file, Boolean* folder) API_DEPRECATED("", macos(10.0, 10.8));
CF_EXTERN OSStatus FSRefMakePath(const FSRef* file, UInt8* path, UInt32 room) API_DEPRECATED("", macos(10.0, 10.8));
CF_EXTERN OSErr FSGetCatalogInfo(const FSRef* file, FSCatalogInfoBitmap wanted, FSCatalogInfo* info, HFSUniStr255* name,
                                 FSSpecPtr spec, FSRef* parent) API_DEPRECATED("", macos(10.0, 10.8));
CF_EXTERN OSErr FSGetVolumeInfo(FSVolumeRefNum volume, ItemCount index, FSVolumeRefNum* actual,
                                FSVolumeInfoBitmap wanted, FSVolumeInfo* info, HFSUniStr255* name, FSRef* root)
    API_DEPRECATED("", macos(10.0, 10.8));
