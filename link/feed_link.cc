#include "link/feed_link.h"

namespace quotlink {

FeedLink::FeedLink(EventLoop* loop, SocketFactory* sockets, ConsoleSurface* console,
                   const Settings* settings)
    : loop_(loop), console_(console), settings_(settings) {
  TCP = sockets->Create(Protocol::kTcp);
  UDP = sockets->Create(Protocol::kUdp);
  TCP->on_data_arrival = [this] { TCP_DataArrival(); };
  UDP->on_data_arrival = [this] { UDP_DataArrival(); };
  TCP->on_connect = [this] { TCP_Connect(); };
}

FeedLink::~FeedLink() = default;

void FeedLink::CloseSockets() {
  (void)TCP->Close();
  (void)UDP->Close();
}

}  // namespace quotlink
