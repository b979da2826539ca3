#include "HostRegistry.h"

#include <mutex>

#include "BLEntity.h"

namespace sim {

struct HostRegistry::State {
  mutable std::mutex mutex;
  std::vector<BLEntity*> entities;
  std::vector<std::string> threads;
};

HostRegistry& HostRegistry::instance() {
  static HostRegistry* registry = new HostRegistry();
  return *registry;
}

HostRegistry::HostRegistry() : state(*new State()) {}

void HostRegistry::addEntity(BLEntity& entity) {
  std::lock_guard<std::mutex> guard(state.mutex);
  state.entities.push_back(&entity);
}

void HostRegistry::addThread(const std::string& name) {
  std::lock_guard<std::mutex> guard(state.mutex);
  state.threads.push_back(name);
}

std::vector<BLEntity*> HostRegistry::entities() const {
  std::lock_guard<std::mutex> guard(state.mutex);
  return state.entities;
}

std::vector<std::string> HostRegistry::entityNames() const {
  std::lock_guard<std::mutex> guard(state.mutex);
  std::vector<std::string> names;
  for (const BLEntity* entity : state.entities) names.push_back(entity->getName());
  return names;
}

std::vector<std::string> HostRegistry::threadNames() const {
  std::lock_guard<std::mutex> guard(state.mutex);
  return state.threads;
}

void HostRegistry::clearThreads() {
  std::lock_guard<std::mutex> guard(state.mutex);
  state.threads.clear();
}

void HostRegistry::clear() {
  std::lock_guard<std::mutex> guard(state.mutex);
  state.entities.clear();
  state.threads.clear();
}

}  // namespace sim
