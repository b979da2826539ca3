// Routes the process's ioctl and close calls on driver handles to the
// simulated driver, which alone knows them; every other descriptor goes on
// to the C library. This works because libsimhost comes before libc in the
// symbol search order.
#include <dlfcn.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>

#include "SimDriver.h"

namespace {

typedef int (*ioctlFunction_t)(int, unsigned long, ...);
typedef int (*closeFunction_t)(int);

template <class F>
F nextSymbol(std::atomic<F>& cache, const char* name) {
  F function = cache.load(std::memory_order_acquire);
  if (function == nullptr) {
    function = reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
    cache.store(function, std::memory_order_release);
  }
  return function;
}

int libcIoctl(int fd, unsigned long request, void* argument) {
  static std::atomic<ioctlFunction_t> cache{nullptr};
  ioctlFunction_t function = nextSymbol(cache, "ioctl");
  if (function == nullptr) {
    errno = ENOSYS;
    return -1;
  }
  return function(fd, request, argument);
}

int libcClose(int fd) {
  static std::atomic<closeFunction_t> cache{nullptr};
  closeFunction_t function = nextSymbol(cache, "close");
  if (function == nullptr) {
    errno = ENOSYS;
    return -1;
  }
  return function(fd);
}

}  // namespace

extern "C" int ioctl(int fd, unsigned long request, ...) noexcept {
  va_list arguments;
  va_start(arguments, request);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  int error = 0;
  if (!sim::Driver::instance().commandOnHandle(fd, request,
                                               reinterpret_cast<unsigned long>(argument), error))
    return libcIoctl(fd, request, argument);
  if (error == 0) return 0;
  errno = error;
  return -1;
}

extern "C" int close(int fd) {
  if (sim::Driver::instance().removeHandle(fd)) return 0;
  return libcClose(fd);
}
