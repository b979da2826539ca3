// Interface ids and names. The list procedure carries no ids, so they are
// found by asking for each id's settings from 0 up. One thread only.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "Commands.h"
#include "RpcSession.h"

namespace psctl {

// A name that names no interface, or more than one; exit status 2.
class NameError : public std::runtime_error {
 public:
  explicit NameError(const std::string& what) : std::runtime_error(what) {}
};

// An interface of the list procedure's reply, with the id found for it.
struct ListedInterface {
  std::string name;
  unsigned int type = 0;
  bool state = false;
  unsigned int limitDynamic = 0, limitStatic = 0;
  bool identified = false;  // false when it left the list before its id was found
  unsigned int id = 0;
};

// The interfaces the service lists, in its order, each with its id. Ids are
// asked for until every listed interface is matched by name and type. A
// refusal gives an empty list and its code in `result`. Throws RpcError.
std::vector<ListedInterface> listInterfaces(RpcSession& session, unsigned int& result);

// The ids of `args`, a name looked up among the interfaces up to the last
// listed one and those right after it. Throws NameError, RpcError.
std::vector<unsigned int> interfaceIds(RpcSession& session, const std::vector<InterfaceArg>& args);
unsigned int interfaceId(RpcSession& session, const InterfaceArg& arg);

}  // namespace psctl
