// Preloaded into a process, makes one kind of system call fail on files whose path holds a text. Set by the
// environment: FAULT_CALL (read, write, fsync, rename, close or link), FAULT_PATH, FAULT_AFTER (calls that go well
// before), FAULT_TIMES (calls that fail; else all) and FAULT_ERROR (a number; 0: a read or write of half of what was
// asked; -1: the call never returns).
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

static atomic_int calls;

enum Fault { kNone, kShort, kError };

static enum Fault fault_on_path(const char* call, const char* path) {
  const char* wanted = getenv("FAULT_CALL");
  const char* part = getenv("FAULT_PATH");
  const char* after = getenv("FAULT_AFTER");
  const char* times = getenv("FAULT_TIMES");
  const char* error = getenv("FAULT_ERROR");
  if (wanted == NULL || part == NULL || error == NULL || strcmp(wanted, call) != 0 || strstr(path, part) == NULL) {
    return kNone;
  }
  const int first = after == NULL ? 0 : atoi(after);
  const int call_number = atomic_fetch_add(&calls, 1);
  if (call_number < first || (times != NULL && call_number >= first + atoi(times))) {
    return kNone;
  }
  const int number = atoi(error);
  if (number < 0) {
    for (;;) {
      pause();
    }
  }
  if (number == EINTR && call_number % 2 == 0) {
    return kNone;  // interrupted now and then, not for ever
  }
  errno = number;
  return number == 0 ? kShort : kError;
}

static enum Fault fault_on(const char* call, int descriptor) {
  char link[64];
  char path[PATH_MAX];
  snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
  const ssize_t size = readlink(link, path, sizeof path - 1);
  if (size <= 0) {
    return kNone;
  }
  path[size] = '\0';
  return fault_on_path(call, path);
}

#define REAL(name, type) ((type)dlsym(RTLD_NEXT, name))

static size_t shortened(enum Fault fault, size_t size) {
  return fault == kShort && size > 1 ? size / 2 : size;
}

ssize_t read(int descriptor, void* to, size_t size) {
  const enum Fault fault = fault_on("read", descriptor);
  return fault == kError ? -1 : REAL("read", ssize_t(*)(int, void*, size_t))(descriptor, to, shortened(fault, size));
}

ssize_t pread64(int descriptor, void* to, size_t size, off64_t at) {
  const enum Fault fault = fault_on("read", descriptor);
  return fault == kError
             ? -1
             : REAL("pread64", ssize_t(*)(int, void*, size_t, off64_t))(descriptor, to, shortened(fault, size), at);
}

ssize_t readv(int descriptor, const struct iovec* to, int count) {
  const enum Fault fault = fault_on("read", descriptor);
  return fault == kError ? -1 : REAL("readv", ssize_t(*)(int, const struct iovec*, int))(descriptor, to, count);
}

ssize_t write(int descriptor, const void* from, size_t size) {
  const enum Fault fault = fault_on("write", descriptor);
  return fault == kError
             ? -1
             : REAL("write", ssize_t(*)(int, const void*, size_t))(descriptor, from, shortened(fault, size));
}

ssize_t pwrite64(int descriptor, const void* from, size_t size, off64_t at) {
  const enum Fault fault = fault_on("write", descriptor);
  return fault == kError ? -1
                         : REAL("pwrite64", ssize_t(*)(int, const void*, size_t, off64_t))(descriptor, from,
                                                                                           shortened(fault, size), at);
}

ssize_t writev(int descriptor, const struct iovec* from, int count) {
  const enum Fault fault = fault_on("write", descriptor);
  return fault == kError ? -1 : REAL("writev", ssize_t(*)(int, const struct iovec*, int))(descriptor, from, count);
}

int fsync(int descriptor) {
  return fault_on("fsync", descriptor) == kError ? -1 : REAL("fsync", int (*)(int))(descriptor);
}

int close(int descriptor) {
  const enum Fault fault = fault_on("close", descriptor);
  const int error = errno;
  const int result = REAL("close", int (*)(int))(descriptor);  // closed all the same, as the system does
  if (fault == kError) {
    errno = error;
    return -1;
  }
  return result;
}

int rename(const char* from, const char* to) {
  return fault_on_path("rename", to) == kError ? -1 : REAL("rename", int (*)(const char*, const char*))(from, to);
}

int renameat2(int folder, const char* from, int other, const char* to, unsigned int flags) {
  return fault_on_path("rename", to) == kError
             ? -1
             : REAL("renameat2", int (*)(int, const char*, int, const char*, unsigned int))(folder, from, other, to,
                                                                                            flags);
}

int link(const char* from, const char* to) {
  return fault_on_path("link", to) == kError ? -1 : REAL("link", int (*)(const char*, const char*))(from, to);
}
