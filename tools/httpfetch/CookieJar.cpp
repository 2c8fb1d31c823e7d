#include "CookieJar.hpp"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <iomanip>
#include <locale>
#include <sstream>
#include <utility>

namespace httpfetch {

namespace {

const std::string httpOnlyPrefix = "#HttpOnly_";

struct Target {
    bool secure;
    std::string host;
    std::string path;
};

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string lowered(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), lower);
    return text;
}

// Scheme, host (without port or credentials) and path of an absolute URL.
Target targetOf(const std::string& url)
{
    const auto schemeEnd = url.find("://");
    const auto hostStart = schemeEnd == std::string::npos ? 0 : schemeEnd + 3;
    const auto pathStart = std::min(url.find_first_of("/?#", hostStart), url.size());
    auto authority = url.substr(hostStart, pathStart - hostStart);
    authority = authority.substr(authority.find('@') == std::string::npos ? 0 : authority.find('@') + 1);
    const auto host =
        authority.substr(0, authority.rfind(':') != std::string::npos && authority.back() != ']' ? authority.rfind(':')
                                                                                                 : std::string::npos);
    auto path = url.substr(pathStart, url.find_first_of("?#", pathStart) - pathStart);
    return {lowered(url.substr(0, hostStart)) == "https://", lowered(host), path.empty() ? "/" : path};
}

bool domainMatches(const std::string& host, const std::string& domain, bool includeSubdomains)
{
    const auto bare = domain.rfind('.', 0) == 0 ? domain.substr(1) : domain;
    if (host == bare) {
        return true;
    }
    return includeSubdomains && host.size() > bare.size() &&
           host.compare(host.size() - bare.size(), bare.size(), bare) == 0 &&
           host[host.size() - bare.size() - 1] == '.';
}

bool pathMatches(const std::string& path, const std::string& cookiePath)
{
    if (path.rfind(cookiePath, 0) != 0) {
        return false;
    }
    return path.size() == cookiePath.size() || cookiePath.back() == '/' || path[cookiePath.size()] == '/';
}

// The directory of a request path, the default path of a cookie.
std::string defaultPath(const std::string& path)
{
    const auto slash = path.rfind('/');
    return slash == 0 || slash == std::string::npos ? "/" : path.substr(0, slash);
}

std::string trimmed(const std::string& text)
{
    const auto first = text.find_first_not_of(" \t");
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// An HTTP date ("Wed, 21 Oct 2026 07:28:00 GMT") in seconds since the epoch; 0 when unreadable.
std::int64_t httpDate(const std::string& text)
{
    std::tm parts{};
    std::istringstream in(text);
    in.imbue(std::locale::classic());
    in >> std::get_time(&parts, "%a, %d %b %Y %H:%M:%S");
    return in.fail() ? 0 : static_cast<std::int64_t>(timegm(&parts));
}

} // namespace

CookieJar CookieJar::read(std::istream& in)
{
    CookieJar jar;
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        const bool httpOnly = line.rfind(httpOnlyPrefix, 0) == 0;
        if (httpOnly) {
            line.erase(0, httpOnlyPrefix.size());
        }
        if (line.empty() || line[0] == '#') {
            continue;
        }
        std::vector<std::string> fields;
        std::istringstream cut(line);
        for (std::string field; std::getline(cut, field, '\t');) {
            fields.push_back(field);
        }
        if (fields.size() == 6) {
            fields.emplace_back();
        }
        char* end = nullptr;
        const auto expires = std::strtoll(fields.size() == 7 ? fields[4].c_str() : "", &end, 10);
        if (fields.size() != 7 || *end != '\0' || fields[4].empty()) {
            continue;
        }
        jar.cookies.push_back({lowered(fields[0]), fields[1] == "TRUE", fields[2], fields[3] == "TRUE", expires,
                               fields[5], fields[6], httpOnly});
    }
    return jar;
}

std::string CookieJar::headerFor(const std::string& url, std::int64_t now) const
{
    const auto target = targetOf(url);
    std::string header;
    for (const auto& cookie : cookies) {
        if ((cookie.expires != 0 && cookie.expires <= now) || (cookie.secure && !target.secure) ||
            !domainMatches(target.host, cookie.domain, cookie.includeSubdomains) ||
            !pathMatches(target.path, cookie.path)) {
            continue;
        }
        header += (header.empty() ? "" : "; ") + cookie.name + "=" + cookie.value;
    }
    return header;
}

void CookieJar::receive(const std::string& url, const foundation::httpclient_core::HttpHeaders& headers,
                        std::int64_t now)
{
    const auto target = targetOf(url);
    for (const auto& [header, text] : headers) {
        if (lowered(header) != "set-cookie") {
            continue;
        }
        std::istringstream attributes(text);
        std::string pair;
        std::getline(attributes, pair, ';');
        const auto equals = pair.find('=');
        if (equals == std::string::npos || trimmed(pair.substr(0, equals)).empty()) {
            continue;
        }
        Cookie cookie{target.host,
                      false,
                      defaultPath(target.path),
                      false,
                      0,
                      trimmed(pair.substr(0, equals)),
                      trimmed(pair.substr(equals + 1)),
                      false};
        bool hasMaxAge = false;
        for (std::string attribute; std::getline(attributes, attribute, ';');) {
            const auto cut = attribute.find('=');
            const auto name = lowered(trimmed(attribute.substr(0, cut)));
            const auto value = cut == std::string::npos ? "" : trimmed(attribute.substr(cut + 1));
            if (name == "domain" && !value.empty()) {
                const auto domain = lowered(value.rfind('.', 0) == 0 ? value.substr(1) : value);
                if (!domainMatches(target.host, domain, true)) {
                    cookie.name.clear();
                    break;
                }
                cookie.domain = "." + domain;
                cookie.includeSubdomains = true;
            } else if (name == "path" && value.rfind('/', 0) == 0) {
                cookie.path = value;
            } else if (name == "secure") {
                cookie.secure = true;
            } else if (name == "httponly") {
                cookie.httpOnly = true;
            } else if (name == "max-age") {
                hasMaxAge = true;
                const auto seconds = std::strtoll(value.c_str(), nullptr, 10);
                cookie.expires = seconds <= 0 ? 1 : now + seconds;
            } else if (name == "expires" && !hasMaxAge) {
                cookie.expires = std::max<std::int64_t>(httpDate(value), 1);
            }
        }
        if (!cookie.name.empty()) {
            store(std::move(cookie), now);
        }
    }
}

void CookieJar::write(std::ostream& out) const
{
    out << "# Netscape HTTP Cookie File\n# Written by httpfetch.\n\n";
    for (const auto& cookie : cookies) {
        out << (cookie.httpOnly ? httpOnlyPrefix : "") << cookie.domain << '\t'
            << (cookie.includeSubdomains ? "TRUE" : "FALSE") << '\t' << cookie.path << '\t'
            << (cookie.secure ? "TRUE" : "FALSE") << '\t' << cookie.expires << '\t' << cookie.name << '\t'
            << cookie.value << '\n';
    }
}

void CookieJar::store(Cookie cookie, std::int64_t now)
{
    const auto same = std::find_if(cookies.begin(), cookies.end(), [&cookie](const Cookie& stored) {
        return stored.domain == cookie.domain && stored.path == cookie.path && stored.name == cookie.name;
    });
    const bool expired = cookie.expires != 0 && cookie.expires <= now;
    if (same != cookies.end()) {
        cookies.erase(same);
    }
    if (!expired) {
        cookies.push_back(std::move(cookie));
    }
}

} // namespace httpfetch
