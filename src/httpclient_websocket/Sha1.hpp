// SHA-1 (RFC 3174) and base64 (RFC 4648, section 4), the two primitives the
// opening handshake needs to compute Sec-WebSocket-Accept (RFC 6455, section
// 4.2.2). Neither is used for anything that needs to be secret or
// collision-resistant.
//
//   base64(sha1("abc"));   // "qZk+NkcGgWq6PiVxeFDCbJzQ2J0="
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace foundation::httpclient_websocket {

// The 20-byte digest of bytes.
std::array<std::uint8_t, 20> sha1(std::string_view bytes);

// The padded base64 text of size bytes from data.
std::string base64(const std::uint8_t* data, std::size_t size);

} // namespace foundation::httpclient_websocket
