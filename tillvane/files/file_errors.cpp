#include <cerrno>

#include <tillvane/files/LFile.h>

int LFile::IsErrorFileNotFound() { return errno == ENOENT ? 1 : 0; }

int LFile::IsErrorPermissionDenied() { return errno == EACCES ? 1 : 0; }

int LFile::IsErrorAlreadyExists() { return errno == EEXIST ? 1 : 0; }

int LFile::IsErrorSharingViolation() { return errno == EACCES || errno == EAGAIN ? 1 : 0; }
