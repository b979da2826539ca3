// Host events: the order subscribers run in, and which subscriptions the
// unsubscribe calls can remove.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <boost/bind/bind.hpp>

#include "Notification.h"

namespace {

struct Listener {
  std::vector<std::string> calls;
  bool first(int value) {
    calls.push_back("first " + std::to_string(value));
    return true;
  }
  bool second(int value) {
    calls.push_back("second " + std::to_string(value));
    return false;
  }
  void after(int value) { calls.push_back("after " + std::to_string(value)); }
};

// Subscribers bound to an object, as entities subscribe.
typedef Notification::Event<bool(int), void(int)> BoundEvent;
// Subscribers stored as bare member-function pointers take the object first.
typedef Notification::Event<bool(Listener*, int), void(Listener*, int)> MemberEvent;

TEST(HostNotificationTest, BoundSubscriptionsAreNeverRemovedByMemberPointer) {
  using namespace boost::placeholders;
  Listener listener;
  BoundEvent event;
  event.subscribePre(boost::bind(&Listener::first, &listener, _1));
  event.subscribePost(boost::bind(&Listener::after, &listener, _1));
  event.unsubscribePre(&Listener::first);
  event.unsubscribePost(&Listener::after);
  EXPECT_EQ(1u, event.preCount());
  EXPECT_EQ(1u, event.postCount());
  event.raisePost(1);
  EXPECT_EQ(std::vector<std::string>{"after 1"}, listener.calls);
}

TEST(HostNotificationTest, MemberPointerSubscriptionsAreAllRemovedOthersKeepOrder) {
  Listener listener;
  MemberEvent event;
  event.subscribePre(&Listener::first);
  event.subscribePre(&Listener::second);
  event.subscribePre(&Listener::first);
  event.subscribePre(&Listener::first);
  event.subscribePre(MemberEvent::preSubscriber_t());
  event.subscribePost(&Listener::after);
  event.unsubscribePre(&Listener::first);
  ASSERT_EQ(2u, event.preCount());
  EXPECT_EQ(1u, event.postCount());
  EXPECT_FALSE(event.raisePre(&listener, 3));
  EXPECT_EQ(std::vector<std::string>{"second 3"}, listener.calls);
  event.unsubscribePost(&Listener::after);
  EXPECT_EQ(0u, event.postCount());
}

}  // namespace
