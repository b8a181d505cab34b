#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/TextCommon.h>
#include <CoreServices/UTCUtils.h>
#include <os/availability.h>

/* Fields of the File Manager's records are aligned as on the first of its machines. */
#pragma pack(push, 2)

typedef SInt16 FSVolumeRefNum;
#if defined(__LP64__)
typedef int FSIORefNum;
#else
typedef SInt16 FSIORefNum;
#endif

#if defined(__LP64__)
/* What it consists of is nobody's business there. */
struct FSSpec {
  UInt8 contents[70];
};
#else
struct FSSpec {
  FSVolumeRefNum vRefNum;
  SInt32 parID;
  StrFileName name;
};
#endif
typedef struct FSSpec FSSpec;
typedef FSSpec* FSSpecPtr;

struct FSRef {
  UInt8 contents[80];
};
typedef struct FSRef FSRef;
typedef FSRef* FSRefPtr;

struct HFSUniStr255 {
  UInt16 length;
  UniChar unicode[255];
};
typedef struct HFSUniStr255 HFSUniStr255;

typedef struct __FSFileSecurity* FSFileSecurityRef;

struct FSPermissionInfo {
  UInt32 userID;
  UInt32 groupID;
  UInt8 reserved1;
  UInt8 userAccess;
  UInt16 mode;
  FSFileSecurityRef fileSec;
};
typedef struct FSPermissionInfo FSPermissionInfo;

typedef UInt32 FSCatalogInfoBitmap;
enum {
  kFSCatInfoNodeFlags = 0x0002,
  kFSCatInfoVolume = 0x0004,
  kFSCatInfoParentDirID = 0x0008,
  kFSCatInfoNodeID = 0x0010
};
enum { kFSNodeIsDirectoryMask = 0x0010 };

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
  FSPermissionInfo permissions;
  UInt8 finderInfo[16];
  UInt8 extFinderInfo[16];
  UInt64 dataLogicalSize;
  UInt64 dataPhysicalSize;
  UInt64 rsrcLogicalSize;
  UInt64 rsrcPhysicalSize;
  UInt32 valence;
  TextEncoding textEncodingHint;
};
typedef struct FSCatalogInfo FSCatalogInfo;

typedef UInt32 FSVolumeInfoBitmap;
enum { kFSVolInfoNone = 0, kFSVolInfoFSInfo = 0x4000 };

struct FSVolumeInfo {
  UTCDateTime createDate;
  UTCDateTime modifyDate;
  UTCDateTime backupDate;
  UTCDateTime checkedDate;
  UInt32 fileCount;
  UInt32 folderCount;
  UInt64 totalBytes;
  UInt64 freeBytes;
  UInt32 blockSize;
  UInt32 totalBlocks;
  UInt32 freeBlocks;
  UInt32 nextAllocation;
  UInt32 rsrcClumpSize;
  UInt32 dataClumpSize;
  UInt32 nextCatalogID;
  UInt8 finderInfo[32];
  UInt16 flags;
  UInt16 filesystemID;
  UInt16 signature;
  UInt16 driveNumber;
  FSIORefNum driverRefNum;
};
typedef struct FSVolumeInfo FSVolumeInfo;

/* Numbers of bits in vMExtendedAttributes. */
enum { bIsOnInternalBus = 21, bIsRemovable = 25, bIsOnExternalBus = 27 };

struct GetVolParmsInfoBuffer {
  SInt16 vMVersion;
  SInt32 vMAttrib;
  Handle vMLocalHand;
  SInt32 vMServerAdr;
  SInt32 vMVolumeGrade;
  SInt16 vMForeignPrivID;
  SInt32 vMExtendedAttributes;
  void* vMDeviceID;
  UniCharCount vMMaxNameLength;
};
typedef struct GetVolParmsInfoBuffer GetVolParmsInfoBuffer;

#pragma pack(pop)

/* The number of what a volume's root folder lies in. */
enum { fsRtParID = 1 };

enum { kFSFileOperationOverwrite = 1 };

CF_EXTERN OSStatus FSPathMakeRef(const UInt8* path, FSRef* reference, Boolean* is_folder)
    API_DEPRECATED("", macos(10.0, 10.8));
CF_EXTERN OSStatus FSRefMakePath(const FSRef* reference, UInt8* path, UInt32 size)
    API_DEPRECATED("", macos(10.0, 10.8));
CF_EXTERN OSErr FSGetCatalogInfo(const FSRef* reference, FSCatalogInfoBitmap wanted, FSCatalogInfo* info,
                                 HFSUniStr255* name, FSSpecPtr specification, FSRef* parent)
    API_DEPRECATED("", macos(10.0, 10.8));
CF_EXTERN OSStatus FSResolveNodeID(FSVolumeRefNum volume, UInt32 number, FSRef* reference)
    API_DEPRECATED("", macos(10.5, 10.8));
CF_EXTERN OSErr FSGetVolumeInfo(FSVolumeRefNum volume, ItemCount place, FSVolumeRefNum* found,
                                FSVolumeInfoBitmap wanted, FSVolumeInfo* info, HFSUniStr255* name, FSRef* root)
    API_DEPRECATED("", macos(10.0, 10.8));
CF_EXTERN OSStatus FSGetVolumeParms(FSVolumeRefNum volume, GetVolParmsInfoBuffer* parameters, ByteCount size)
    API_DEPRECATED("", macos(10.5, 10.8));
CF_EXTERN OSStatus FSCopyObjectSync(const FSRef* source, const FSRef* folder, CFStringRef name, FSRef* copy,
                                    OptionBits options) API_DEPRECATED("", macos(10.4, 10.8));
