#pragma once

#include <winsock2.h>

namespace orrery {

/// Windows Sockets 2.2, started for as long as the object lives; false when they do not start.
class WinsockSession {
public:
    WinsockSession() noexcept
    {
        WSADATA data{};
        started_ = WSAStartup(MAKEWORD(2, 2), &data) == 0;
    }
    ~WinsockSession()
    {
        if (started_)
            WSACleanup();
    }
    WinsockSession(const WinsockSession&) = delete;
    WinsockSession& operator=(const WinsockSession&) = delete;

    explicit operator bool() const noexcept { return started_; }

private:
    bool started_ = false;
};

}  // namespace orrery
