// The control channel's listener: a UNIX stream socket served by its own
// thread, one command a line, each answered in order. Several clients may be
// connected at once; a slow one cannot hold up the others for long.
// open, start and stop are called from one thread, in that order.
#pragma once

#include <functional>
#include <string>
#include <thread>

namespace pshost {

class ControlServer {
 public:
  // Turns one command line into its whole reply.
  typedef std::function<std::string(const std::string& line)> Handler;

  ControlServer(const std::string& path, Handler handler);
  ~ControlServer();
  ControlServer(const ControlServer&) = delete;
  ControlServer& operator=(const ControlServer&) = delete;

  // Binds the socket. A stale socket file left by a process that is gone is
  // replaced; a live one is not. Throws std::runtime_error naming the path.
  void open();
  // Serves on a new thread until stop.
  void start();
  // Ends the thread, closes every connection and removes the socket file.
  void stop();

 private:
  void serve();

  std::string path;
  Handler handler;
  int listener;
  int wakeRead;
  int wakeWrite;
  bool bound;  // the socket file is ours to remove
  std::thread thread;
};

}  // namespace pshost
