#include "InterfaceIds.h"

#include <climits>
#include <cstring>
#include <set>
#include <utility>

#include "ResultText.h"
#include "portsecurity.h"

namespace psctl {
namespace {

typedef std::pair<std::string, unsigned int> NameAndType;
typedef std::vector<std::pair<unsigned int, std::string>> SeenNames;

// Probes without a match after which the list is read again.
const unsigned int kRecheckAfter = 4096;

// The name field is NUL-terminated on the wire, but a peer might not say so.
std::string nameOf(const rpcPSIntfSettings& settings) {
  return std::string(settings.name, strnlen(settings.name, sizeof settings.name));
}

// Frees what the library allocated for a stub's reply.
template <class Reply>
void release(bool_t (*routine)(XDR*, Reply*), Reply& reply) {
  xdr_free(reinterpret_cast<xdrproc_t>(reinterpret_cast<void (*)()>(routine)),
           reinterpret_cast<char*>(&reply));
}

// The name and type of interface `id`; false for one the service does not know.
bool probe(RpcSession& session, unsigned int id, NameAndType& found) {
  rpcResultPSIntfSettings& reply =
      session.check(rpc_ps_get_interface_settings_1(id, session.client()), "interface settings");
  const bool known = reply.result == RPC_PS_OK;
  if (known) found = {nameOf(reply.settings), reply.settings.type};
  release(xdr_rpcResultPSIntfSettings, reply);
  return known;
}

std::vector<ListedInterface> readList(RpcSession& session, unsigned int& result) {
  rpcResultPSIntfSettingsList& reply =
      session.check(rpc_ps_get_interface_settings_all_1(session.client()), "interface settings");
  result = reply.result;
  std::vector<ListedInterface> listed;
  for (u_int i = 0; reply.result == RPC_PS_OK && i < reply.list.list_len; ++i) {
    const rpcPSIntfSettings& settings = reply.list.list_val[i];
    ListedInterface entry;
    entry.name = nameOf(settings);
    entry.type = settings.type;
    entry.state = settings.state != 0;
    entry.limitDynamic = settings.limitDynamic;
    entry.limitStatic = settings.limitStatic;
    listed.push_back(entry);
  }
  release(xdr_rpcResultPSIntfSettingsList, reply);
  return listed;
}

// An interface removed after the list was read would keep the search going
// for ever: what is no longer listed is given up. Gives how many remain.
size_t giveUpRemoved(RpcSession& session, std::vector<ListedInterface>& listed,
                     std::vector<bool>& searched) {
  unsigned int result = 0;
  std::multiset<NameAndType> present;
  for (const ListedInterface& now : readList(session, result)) present.insert({now.name, now.type});
  for (const ListedInterface& entry : listed)
    if (entry.identified && present.count({entry.name, entry.type}) != 0)
      present.erase(present.find({entry.name, entry.type}));
  size_t remaining = 0;
  for (size_t i = 0; i < listed.size(); ++i) {
    if (!searched[i]) continue;
    auto it = present.find({listed[i].name, listed[i].type});
    if (result == RPC_PS_OK && it == present.end()) {
      searched[i] = false;
    } else {
      if (it != present.end()) present.erase(it);
      ++remaining;
    }
  }
  return remaining;
}

// Asks for ids from 0 up until every listed interface is matched; `seen`
// gets every interface answered on the way. Gives the first id not asked for.
unsigned long long findIds(RpcSession& session, std::vector<ListedInterface>& listed,
                           SeenNames& seen) {
  std::vector<bool> searched(listed.size(), true);
  size_t unmatched = listed.size();
  unsigned long long id = 0;
  for (unsigned int sinceMatch = 0; unmatched > 0 && id <= UINT_MAX; ++id) {
    NameAndType found;
    if (probe(session, static_cast<unsigned int>(id), found)) {
      seen.push_back({static_cast<unsigned int>(id), found.first});
      for (size_t i = 0; i < listed.size(); ++i) {
        if (!searched[i] || listed[i].name != found.first || listed[i].type != found.second)
          continue;
        listed[i].identified = true;
        listed[i].id = static_cast<unsigned int>(id);
        searched[i] = false;
        --unmatched;
        sinceMatch = 0;
        break;
      }
    }
    if (++sinceMatch % kRecheckAfter == 0) unmatched = giveUpRemoved(session, listed, searched);
  }
  return id;
}

}  // namespace

std::vector<ListedInterface> listInterfaces(RpcSession& session, unsigned int& result) {
  std::vector<ListedInterface> listed = readList(session, result);
  SeenNames seen;
  findIds(session, listed, seen);
  return listed;
}

std::vector<unsigned int> interfaceIds(RpcSession& session, const std::vector<InterfaceArg>& args) {
  SeenNames seen;
  for (const InterfaceArg& arg : args) {
    if (arg.name.empty() || !seen.empty()) continue;
    unsigned int result = 0;
    std::vector<ListedInterface> listed = readList(session, result);
    if (result != RPC_PS_OK) throw RpcError("interface settings: " + resultText(result));
    // Interfaces the list leaves out (GPON, internal, inactive GEM) are
    // found too where their ids follow the listed ones without a gap.
    NameAndType found;
    for (unsigned long long id = findIds(session, listed, seen);
         id <= UINT_MAX && probe(session, static_cast<unsigned int>(id), found); ++id)
      seen.push_back({static_cast<unsigned int>(id), found.first});
  }
  std::vector<unsigned int> ids;
  for (const InterfaceArg& arg : args) {
    if (arg.name.empty()) {
      ids.push_back(arg.id);
      continue;
    }
    std::string matches;
    for (const auto& [id, name] : seen)
      if (name == arg.name) matches += (matches.empty() ? "" : ", ") + std::to_string(id);
    if (matches.empty())
      throw NameError("no interface named '" + arg.name + "' on " + session.hostName() +
                      " (psctl show lists the names)");
    if (matches.find(',') != std::string::npos)
      throw NameError("more than one interface is named '" + arg.name + "' on " +
                      session.hostName() + " (ids " + matches + "): give the id");
    ids.push_back(static_cast<unsigned int>(std::stoul(matches)));
  }
  return ids;
}

unsigned int interfaceId(RpcSession& session, const InterfaceArg& arg) {
  return interfaceIds(session, {arg}).front();
}

}  // namespace psctl
