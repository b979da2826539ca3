// Process-wide singletons of the host framework.
// instance() is safe from any thread: the object is built once, on first use,
// under the runtime's one-time guard, and destroyed at process exit.
#pragma once

template <class T>
class singleton {
 public:
  static T& instance() {
    static T object;
    return object;
  }

 protected:
  singleton() = default;
  ~singleton() = default;
};
