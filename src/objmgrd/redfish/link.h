// SPDX-License-Identifier: Apache-2.0
// link.h -- addresses of resources, as a service's documents name them.
//
// An address here is a path on the service that is talked to ("/redfish/v1/Chassis/1"), which may
// have a query. The fragment that names a part of a document is cut off for requests.
#ifndef OBJMGRD_REDFISH_LINK_H
#define OBJMGRD_REDFISH_LINK_H

#include "objmgrd/redfish/json.h"

#include <vector>

// Bytes of an address; the longest seen has some 150.
constexpr size_t kLinkMax = 1024;
// Pages of one collection; the largest seen has 20.
constexpr u32 kPagesMax = 200;

// Where the service is.
struct Origin {
    std::string scheme = "https";  // or "http"
    std::string host;              // a name or an address; IPv6 without its brackets
    u32 port = 443;
    // Its other name, in certificates and so in addresses that it gives; "": none.
    std::string name = "";

    // "https://192.0.2.10:8443": without a final slash, the port only where it is not the scheme's.
    std::string Url() const;
    bool operator==(const Origin &) const = default;
};

// Takes "SCHEME://HOST[:PORT][/]". False when it is anything else (a path, a user, another scheme).
bool OriginParse(std::string_view url, Origin *origin);
// The service itself: 127.0.0.0/8, ::1 or "localhost".
bool OriginIsLoopback(const Origin &origin);

// The address that a document or a header gives as a path or as a whole URL of this origin; ""
// when it is none: elsewhere (a request would carry the token away), too long, with control
// characters, or no absolute path. Blanks and bytes beyond ASCII, which some services leave in
// their addresses, are escaped.
std::string LinkOf(const Origin &origin, std::string_view given);
// The same for the `@odata.id` of an object, or for a text in its place.
std::string LinkOf(const Origin &origin, JsonValue object);

// Without its query and its final slashes: two addresses with the same name are the same resource.
std::string LinkName(std::string_view link);

// Order of names: digits as numbers, everything else by bytes. -1, 0 or 1.
int NaturalCompare(std::string_view a, std::string_view b);

struct Resource {
    std::string link;
    JsonValue document;  // none: there is none, or it could not be read
};

// One page of a collection.
struct CollectionPage {
    bool hasMembers = false;         // there is a list of members, maybe an empty one
    std::vector<std::string> links;  // of its members in their order, those that are addresses
    std::vector<JsonValue> members;  // of the same length: the object, expanded or a bare link
    u32 refused = 0;                 // members without a usable address
    std::optional<double> count;     // Members@odata.count
    std::string next;                // the next page's address; ""
    bool nextElsewhere = false;      // there is one that is no address of this service
};
CollectionPage CollectionPageOf(const Origin &origin, JsonValue document);

// Whether a member has more to it than its address: what a request with $expand hopes for.
bool IsExpanded(JsonValue member);

#endif
