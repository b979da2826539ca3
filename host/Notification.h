// Host events: ordered lists of pre- and post-subscribers.
// Subscribing and raising are not synchronised: the host subscribes before it
// raises events from more than one thread.
#pragma once

#include <utility>
#include <vector>

#include <boost/function.hpp>

namespace Notification {

template <class Pre, class Post>
class Event {
 public:
  typedef boost::function<Pre> preSubscriber_t;
  typedef boost::function<Post> postSubscriber_t;

  void subscribePre(const preSubscriber_t& subscriber) { pre.push_back(subscriber); }
  void subscribePost(const postSubscriber_t& subscriber) { post.push_back(subscriber); }

  // Remove every subscriber whose stored target is exactly `handler`, a bare
  // member-function pointer. A subscriber stored as a bound object holds
  // another type and is therefore never matched.
  template <class M>
  void unsubscribePre(M handler) {
    eraseMatching(pre, handler);
  }
  template <class M>
  void unsubscribePost(M handler) {
    eraseMatching(post, handler);
  }

  // Pre-subscribers, in order; the result is false when any of them said false.
  template <class... Args>
  bool raisePre(Args&&... args) const {
    bool allAgreed = true;
    for (const preSubscriber_t& subscriber : std::vector<preSubscriber_t>(pre))
      if (subscriber && !subscriber(args...)) allAgreed = false;
    return allAgreed;
  }

  template <class... Args>
  void raisePost(Args&&... args) const {
    for (const postSubscriber_t& subscriber : std::vector<postSubscriber_t>(post))
      if (subscriber) subscriber(args...);
  }

  size_t preCount() const { return pre.size(); }
  size_t postCount() const { return post.size(); }

 private:
  template <class F, class M>
  static void eraseMatching(std::vector<F>& list, M handler) {
    if (list.empty()) return;
    typename std::vector<F>::iterator it = list.begin();
    while (it != list.end()) {
      const M* target = it->empty() ? nullptr : it->template target<M>();
      if (target != nullptr && *target == handler)
        it = list.erase(it);
      else
        ++it;
    }
  }

  std::vector<preSubscriber_t> pre;
  std::vector<postSubscriber_t> post;
};

}  // namespace Notification
