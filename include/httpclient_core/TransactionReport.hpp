// TransactionReport: what a finished transaction reports beyond the response
// itself: how many redirects were followed and the URL finally reached.
//
//   TransactionReport report(2, URL{"https://example.test/final"});
//   report.redirectCount();   // 2
#pragma once

#include <httpclient_core/Export.hpp>
#include <httpclient_core/URL.hpp>

namespace foundation::httpclient_core {

class HTTPCLIENT_CORE_EXPORT TransactionReport {
public:
    // No redirect and an empty effective URL: the report of a response not yet made.
    TransactionReport() = default;
    TransactionReport(long redirectCount, URL effectiveURL);

    long redirectCount() const { return redirects; }
    URL effectiveURL() const { return effective; }

private:
    long redirects = 0;
    URL effective;
};

} // namespace foundation::httpclient_core
