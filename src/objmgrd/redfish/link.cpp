// SPDX-License-Identifier: Apache-2.0
// link.cpp -- see link.h.
#include "objmgrd/redfish/link.h"

#include <algorithm>
#include <stdlib.h>

#include <arpa/inet.h>

namespace
{

std::string Lower(std::string_view text)
{
    std::string lower(text);
    for (char &c : lower) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c | 0x20);
    }
    return lower;
}

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

// Takes "HOST" or "HOST:PORT"; port stays where none is told.
bool AuthorityParse(std::string_view text, Origin *origin)
{
    std::string_view host = text;
    std::string_view port;
    bool hasPort = false;
    if (!text.empty() && text[0] == '[') {
        const size_t end = text.find(']');
        if (end == std::string_view::npos)
            return false;
        host = text.substr(1, end - 1);
        const std::string_view rest = text.substr(end + 1);
        if (!rest.empty() && rest[0] != ':')
            return false;
        hasPort = !rest.empty();
        port = hasPort ? rest.substr(1) : rest;
        in6_addr address;
        if (inet_pton(AF_INET6, std::string(host).c_str(), &address) != 1)
            return false;
    } else {
        const size_t colon = text.find(':');
        hasPort = colon != std::string_view::npos;
        host = text.substr(0, colon);
        port = hasPort ? text.substr(colon + 1) : port;
        if (!std::all_of(host.begin(), host.end(), [](char c) {
                return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.' ||
                       c == '-' || c == '_';
            }))
            return false;
    }
    if (host.empty() || host.size() > 253)
        return false;
    if (hasPort) {
        if (port.empty() || port.size() > 5 || !std::all_of(port.begin(), port.end(), IsDigit))
            return false;
        origin->port = static_cast<u32>(strtoul(std::string(port).c_str(), nullptr, 10));
        if (origin->port == 0 || origin->port > 65535)
            return false;
    }
    origin->host = Lower(host);
    return true;
}

// Splits "SCHEME://AUTHORITY/PATH"; the path begins with its slash or is empty.
bool UrlParse(std::string_view url, Origin *origin, std::string_view *path)
{
    const size_t end = url.find("://");
    if (end == std::string_view::npos)
        return false;
    Origin found;
    found.scheme = Lower(url.substr(0, end));
    if (found.scheme != "http" && found.scheme != "https")
        return false;
    found.port = found.scheme == "http" ? 80 : 443;
    const std::string_view rest = url.substr(end + 3);
    const size_t slash = std::min(rest.find_first_of("/?#"), rest.size());
    if (!AuthorityParse(rest.substr(0, slash), &found))
        return false;
    *path = rest.substr(slash);
    *origin = found;
    return true;
}

}  // namespace

std::string Origin::Url() const
{
    std::string url = scheme + "://";
    url += host.find(':') == std::string::npos ? host : "[" + host + "]";
    if (port != (scheme == "http" ? 80u : 443u))
        url += ":" + std::to_string(port);
    return url;
}

bool OriginParse(std::string_view url, Origin *origin)
{
    std::string_view path;
    return UrlParse(url, origin, &path) && (path.empty() || path == "/");
}

bool OriginIsLoopback(const Origin &origin)
{
    in_addr address;
    if (inet_pton(AF_INET, origin.host.c_str(), &address) == 1)
        return (ntohl(address.s_addr) >> 24) == 127;
    in6_addr address6;
    if (inet_pton(AF_INET6, origin.host.c_str(), &address6) == 1)
        return IN6_IS_ADDR_LOOPBACK(&address6);
    return origin.host == "localhost";
}

std::string LinkOf(const Origin &origin, std::string_view given)
{
    std::string_view path = given;
    if (given.empty() || given[0] != '/') {
        Origin other;
        if (!UrlParse(given, &other, &path) || other.scheme != origin.scheme ||
            other.port != origin.port || (other.host != origin.host && other.host != origin.name))
            return "";
    }
    path = path.substr(0, path.find('#'));
    std::string link;
    for (const char c : path) {
        const u8 byte = static_cast<u8>(c);
        if (byte < ' ' || byte == 0x7f)
            return "";
        if (byte == ' ' || byte > 0x7f) {
            constexpr char kDigits[] = "0123456789ABCDEF";
            link += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
        } else {
            link += c;
        }
    }
    const bool right = !link.empty() && link.size() <= kLinkMax && link[0] == '/' &&
                       (link.size() == 1 || link[1] != '/');
    return right ? link : "";
}

std::string LinkOf(const Origin &origin, JsonValue object)
{
    const std::string text = object.RawText();
    return LinkOf(origin, text.empty() ? object["@odata.id"].RawText() : text);
}

std::string LinkName(std::string_view link)
{
    link = link.substr(0, link.find('?'));
    while (!link.empty() && link.back() == '/')
        link.remove_suffix(1);
    return std::string(link);
}

int NaturalCompare(std::string_view a, std::string_view b)
{
    size_t i = 0;
    size_t j = 0;
    while (i < a.size() && j < b.size()) {
        if (!IsDigit(a[i]) || !IsDigit(b[j])) {
            if (a[i] != b[j])
                return static_cast<u8>(a[i]) < static_cast<u8>(b[j]) ? -1 : 1;
            ++i;
            ++j;
            continue;
        }
        while (i < a.size() && a[i] == '0')
            ++i;
        while (j < b.size() && b[j] == '0')
            ++j;
        size_t iEnd = i;
        size_t jEnd = j;
        while (iEnd < a.size() && IsDigit(a[iEnd]))
            ++iEnd;
        while (jEnd < b.size() && IsDigit(b[jEnd]))
            ++jEnd;
        if (iEnd - i != jEnd - j)
            return iEnd - i < jEnd - j ? -1 : 1;
        const int order = a.substr(i, iEnd - i).compare(b.substr(j, jEnd - j));
        if (order != 0)
            return order < 0 ? -1 : 1;
        i = iEnd;
        j = jEnd;
    }
    if (i < a.size() || j < b.size())
        return i < a.size() ? 1 : -1;
    // "a01" and "a1" are told apart all the same.
    const int order = a.compare(b);
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

CollectionPage CollectionPageOf(const Origin &origin, JsonValue document)
{
    CollectionPage page;
    const JsonValue members = document["Members"];
    page.hasMembers = members.IsArray();
    for (size_t i = 0; i < members.Size(); ++i) {
        const JsonValue member = members[i];
        std::string link = LinkOf(origin, member);
        if (link.empty()) {
            ++page.refused;
            continue;
        }
        page.links.push_back(std::move(link));
        page.members.push_back(member);
    }
    page.count = document["Members@odata.count"].Number();
    for (const char *name : {"Members@odata.nextLink", "@odata.nextLink"}) {
        const std::string next = document[name].RawText();
        if (page.next.empty())
            page.next = LinkOf(origin, next);
        page.nextElsewhere = page.next.empty() && (page.nextElsewhere || !next.empty());
    }
    return page;
}

bool IsExpanded(JsonValue member)
{
    return member.IsObject() &&
           (member.Has("Id") || member.Has("Name") || member.Has("@odata.type"));
}
