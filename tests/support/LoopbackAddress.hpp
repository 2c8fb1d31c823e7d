// The address of a port on 127.0.0.1, for the test servers and relays that
// listen on or connect to loopback.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cstdint>

namespace support {

inline sockaddr_in loopback(int port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return address;
}

} // namespace support
