#include "RpcRegistrations.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <rpc/pmap_clnt.h>
#include <rpc/pmap_prot.h>
#include <rpc/rpc.h>
#include <sys/socket.h>

#include <set>
#include <utility>

namespace pshost {
namespace {

// (port, protocol) of every IPv4 socket in the RPC library's descriptor set.
std::set<std::pair<unsigned long, unsigned long>> transportPorts() {
  std::set<std::pair<unsigned long, unsigned long>> ports;
  for (int fd = 0; fd < FD_SETSIZE; ++fd) {
    if (!FD_ISSET(fd, &svc_fdset)) continue;
    sockaddr_in address = {};
    socklen_t length = sizeof address;
    int type = 0;
    socklen_t typeLength = sizeof type;
    if (::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0 ||
        address.sin_family != AF_INET ||
        ::getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &typeLength) != 0)
      continue;
    ports.insert({ntohs(address.sin_port), type == SOCK_STREAM ? IPPROTO_TCP : IPPROTO_UDP});
  }
  return ports;
}

sockaddr_in loopbackPortMapper() {
  sockaddr_in mapper = {};
  mapper.sin_family = AF_INET;
  mapper.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  mapper.sin_port = htons(PMAPPORT);
  return mapper;
}

void freeMaps(pmaplist* maps) {
  if (maps != nullptr)
    xdr_free(reinterpret_cast<xdrproc_t>(reinterpret_cast<void (*)()>(xdr_pmaplist)),
             reinterpret_cast<char*>(&maps));
}

}  // namespace

bool portMapperAnswers() {
  sockaddr_in mapper = loopbackPortMapper();
  // A running port mapper lists at least its own program.
  pmaplist* maps = pmap_getmaps(&mapper);
  freeMaps(maps);
  return maps != nullptr;
}

void withdrawRegistrations() {
  std::set<std::pair<unsigned long, unsigned long>> ports = transportPorts();
  if (ports.empty()) return;
  sockaddr_in mapper = loopbackPortMapper();
  std::set<std::pair<unsigned long, unsigned long>> programs;
  pmaplist* maps = pmap_getmaps(&mapper);
  for (pmaplist* entry = maps; entry != nullptr; entry = entry->pml_next)
    if (ports.count({entry->pml_map.pm_port, entry->pml_map.pm_prot}) != 0)
      programs.insert({entry->pml_map.pm_prog, entry->pml_map.pm_vers});
  freeMaps(maps);
  for (const auto& program : programs) pmap_unset(program.first, program.second);
}

}  // namespace pshost
