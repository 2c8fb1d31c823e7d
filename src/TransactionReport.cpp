#include <httpclient_core/TransactionReport.hpp>

#include <utility>

namespace foundation::httpclient_core {

TransactionReport::TransactionReport(long redirectCount, URL effectiveURL)
    : redirects(redirectCount),
      effective(std::move(effectiveURL))
{
}

} // namespace foundation::httpclient_core
