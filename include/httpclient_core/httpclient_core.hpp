// httpclient_core: every public header of the library.
#pragma once

#include <httpclient_core/Accept.hpp>
#include <httpclient_core/ClientConfiguration.hpp>
#include <httpclient_core/CompletionHandler.hpp>
#include <httpclient_core/ContentType.hpp>
#include <httpclient_core/Cookie.hpp>
#include <httpclient_core/DefaultRetry.hpp>
#include <httpclient_core/Exceptions.hpp>
#include <httpclient_core/FormUrlEncoded.hpp>
#include <httpclient_core/HttpClient.hpp>
#include <httpclient_core/HttpHeaders.hpp>
#include <httpclient_core/HttpMessage.hpp>
#include <httpclient_core/HttpMethod.hpp>
#include <httpclient_core/HttpRequest.hpp>
#include <httpclient_core/HttpResponse.hpp>
#include <httpclient_core/HttpResponseCode.hpp>
#include <httpclient_core/MultipartFormData.hpp>
#include <httpclient_core/NameValueCollection.hpp>
#include <httpclient_core/PercentEncoder.hpp>
#include <httpclient_core/QueryParameters.hpp>
#include <httpclient_core/RetryStrategies.hpp>
#include <httpclient_core/TransactionReport.hpp>
#include <httpclient_core/URL.hpp>
#include <httpclient_core/WebSocketClientConfiguration.hpp>
