#include "LinkInfo.h"

#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <string>

namespace sim {
namespace {

struct LinkAttributes {
  int link = 0;
  bool linkElsewhere = false;  // the peer's ifindex is another namespace's
  std::string kind;
  uint64_t received = 0;
};

void readLinkInfo(const rtattr* nested, int length, LinkAttributes& out) {
  for (const rtattr* at = nested; RTA_OK(at, length); at = RTA_NEXT(at, length))
    if (at->rta_type == IFLA_INFO_KIND)
      out.kind.assign(static_cast<const char*>(RTA_DATA(at)),
                      strnlen(static_cast<const char*>(RTA_DATA(at)), RTA_PAYLOAD(at)));
}

bool parseLink(const nlmsghdr* message, LinkAttributes& out) {
  if (message->nlmsg_type != RTM_NEWLINK) return false;
  const ifinfomsg* info = static_cast<const ifinfomsg*>(NLMSG_DATA(message));
  int length = static_cast<int>(message->nlmsg_len - NLMSG_LENGTH(sizeof *info));
  for (const rtattr* at = IFLA_RTA(info); RTA_OK(at, length); at = RTA_NEXT(at, length)) {
    if (at->rta_type == IFLA_LINK && RTA_PAYLOAD(at) >= sizeof(int))
      std::memcpy(&out.link, RTA_DATA(at), sizeof(int));
    else if (at->rta_type == IFLA_LINK_NETNSID)
      out.linkElsewhere = true;
    else if (at->rta_type == IFLA_STATS64 && RTA_PAYLOAD(at) >= sizeof(rtnl_link_stats64))
      // Attributes are only 4-byte aligned: the counters are copied out.
      std::memcpy(
          &out.received,
          static_cast<const uint8_t*>(RTA_DATA(at)) + offsetof(rtnl_link_stats64, rx_packets),
          sizeof out.received);
    else if (at->rta_type == IFLA_LINKINFO)
      readLinkInfo(static_cast<const rtattr*>(RTA_DATA(at)), static_cast<int>(RTA_PAYLOAD(at)),
                   out);
  }
  return true;
}

}  // namespace

bool readLinkInfo(int ifindex, LinkInfo& out) {
  const int fd = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
  if (fd < 0) return false;
  struct {
    nlmsghdr header;
    ifinfomsg info;
  } request = {};
  request.header.nlmsg_len = sizeof request;
  request.header.nlmsg_type = RTM_GETLINK;
  request.header.nlmsg_flags = NLM_F_REQUEST;
  request.info.ifi_family = AF_UNSPEC;
  request.info.ifi_index = ifindex;
  LinkAttributes link;
  alignas(nlmsghdr) char reply[16384];
  ssize_t length = -1;
  if (::send(fd, &request, sizeof request, 0) == sizeof request)
    length = ::recv(fd, reply, sizeof reply, 0);
  ::close(fd);
  if (length <= 0) return false;
  const nlmsghdr* message = reinterpret_cast<const nlmsghdr*>(reply);
  if (!NLMSG_OK(message, static_cast<unsigned int>(length)) || !parseLink(message, link))
    return false;
  out.vethPeer = link.kind == "veth" && !link.linkElsewhere ? link.link : 0;
  out.receivedFrames = link.received;
  return true;
}

}  // namespace sim
