// What has registered with the host's BLLManager: entities and worker thread
// names, in registration order. Safe from any thread.
#pragma once

#include <string>
#include <vector>

class BLEntity;

namespace sim {

class HostRegistry {
 public:
  static HostRegistry& instance();

  void addEntity(BLEntity& entity);
  void addThread(const std::string& name);

  std::vector<BLEntity*> entities() const;
  // The entities' names, in registration order.
  std::vector<std::string> entityNames() const;
  std::vector<std::string> threadNames() const;

  // Forgets the thread names only; entities register once per process.
  void clearThreads();
  // Forgets everything.
  void clear();

 private:
  HostRegistry();
  struct State;
  State& state;
};

}  // namespace sim
