// A list of handlers for one event, safe to change from inside a handler: a handler added
// meanwhile runs in the same round, one removed meanwhile doesn't run, and a handler may fire
// the event again (the inner round runs to its end first).
#ifndef QUOTLINK_CLIENT_SUBSCRIBERS_H_
#define QUOTLINK_CLIENT_SUBSCRIBERS_H_

#include <algorithm>
#include <deque>
#include <functional>

namespace quotlink {

class Subscribers {
 public:
  using Handler = std::function<void()>;

  // Returns an id above 0 for Unsubscribe.
  int Subscribe(Handler handler) {
    const int id = next_id_++;
    list_.push_back(Entry{id, true, std::move(handler)});
    return id;
  }
  void Unsubscribe(int id) {
    for (auto& e : list_) {
      if (e.id == id) e.active = false;
    }
    Sweep();
  }
  // Runs every handler, in the order they subscribed.
  void Fire() {
    ++depth_;
    // A deque keeps a running handler in place while others are appended.
    for (size_t i = 0; i < list_.size(); ++i) {
      if (list_[i].active) list_[i].handler();
    }
    --depth_;
    Sweep();
  }
  bool empty() const {
    return std::none_of(list_.begin(), list_.end(), [](const Entry& e) { return e.active; });
  }

 private:
  struct Entry {
    int id;
    bool active;
    Handler handler;
  };
  void Sweep() {
    if (depth_ == 0) std::erase_if(list_, [](const Entry& e) { return !e.active; });
  }

  std::deque<Entry> list_;
  int next_id_ = 1;
  int depth_ = 0;
};

}  // namespace quotlink

#endif  // QUOTLINK_CLIENT_SUBSCRIBERS_H_
