#include "client/quotlinkbas.h"

#include "client/quotlinkfrm.h"

namespace quotlink {

QUOTLINKBAS::QUOTLINKBAS(EventLoop* loop, SocketFactory* sockets, ConsoleView* view)
    : loop_(loop), sockets_(sockets), view_(view) {}

QUOTLINKBAS::~QUOTLINKBAS() = default;

QUOTLINKFRM& QUOTLINKBAS::Form() {
  if (!form_) form_ = std::make_unique<QUOTLINKFRM>(this);
  return *form_;
}

void QUOTLINKBAS::End() {
  ended_ = true;
  loop_->Quit();
}

}  // namespace quotlink
