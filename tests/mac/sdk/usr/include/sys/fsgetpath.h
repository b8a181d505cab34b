#pragma once

#include <sys/attr.h>
#include <sys/cdefs.h>
#include <sys/mount.h>
#include <sys/types.h>

__BEGIN_DECLS
ssize_t fsgetpath(char* path, size_t room, fsid_t* volume, uint64_t number);
__END_DECLS
