#pragma once

#include <sys/cdefs.h>
#include <sys/types.h>

__BEGIN_DECLS
ssize_t getxattr(const char* path, const char* name, void* value, size_t size, u_int32_t position, int options);
int setxattr(const char* path, const char* name, const void* value, size_t size, u_int32_t position, int options);
__END_DECLS
