#include <httpclient_curl/TransferFailedException.hpp>

namespace foundation::httpclient_curl {

TransferFailedException::TransferFailedException(const std::string& message, TransferFailure cause)
    : HttpRequestFailedException(message),
      failure(cause)
{
}

} // namespace foundation::httpclient_curl
