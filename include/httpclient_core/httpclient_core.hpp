// httpclient_core: every public header of the library.
#pragma once

#include <httpclient_core/HttpHeaders.hpp>
#include <httpclient_core/HttpMethod.hpp>
#include <httpclient_core/HttpResponseCode.hpp>
#include <httpclient_core/NameValueCollection.hpp>
#include <httpclient_core/PercentEncoder.hpp>
#include <httpclient_core/QueryParameters.hpp>
#include <httpclient_core/TransactionReport.hpp>
#include <httpclient_core/URL.hpp>
