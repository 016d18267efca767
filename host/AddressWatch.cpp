#include "host/AddressWatch.h"

#include <array>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace zebhost {

AddressWatch::AddressWatch(Loop& loop, std::function<void()> handler) : mHandler(std::move(handler)) {
    mSocket = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE);
    sockaddr_nl news{};
    news.nl_family = AF_NETLINK;
    news.nl_groups = RTMGRP_IPV4_IFADDR;
    if (mSocket >= 0 && bind(mSocket, reinterpret_cast<const sockaddr*>(&news), sizeof news) == 0)
        mWatch = std::make_unique<Watch>(loop, mSocket, EPOLLIN, [this] {
            drain();
            mHandler();
        });
}

AddressWatch::~AddressWatch() {
    mWatch.reset();
    if (mSocket >= 0)
        close(mSocket);
}

/** What the news are does not matter: the addresses are read anew. An overflow is news as well. */
void AddressWatch::drain() {
    std::array<char, 8192> news;
    while (recv(mSocket, news.data(), news.size(), 0) > 0) {
    }
}

} // namespace zebhost
