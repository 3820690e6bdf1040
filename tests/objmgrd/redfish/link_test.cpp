// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/redfish/link.
#include "objmgrd/redfish/link.h"

#include "documents.h"

namespace
{

std::string Parsed(const char *url)
{
    Origin origin;
    return OriginParse(url, &origin) ? origin.Url() : "(refused)";
}

}  // namespace

TEST(Link, Origin)
{
    EXPECT_EQ(Parsed("https://192.0.2.10"), "https://192.0.2.10");
    EXPECT_EQ(Parsed("HTTPS://BMC.Example:8443/"), "https://bmc.example:8443");
    EXPECT_EQ(Parsed("https://a:443"), "https://a");
    EXPECT_EQ(Parsed("http://a:80"), "http://a");
    EXPECT_EQ(Parsed("http://a:443"), "http://a:443");
    EXPECT_EQ(Parsed("https://[2001:db8::1]:8443"), "https://[2001:db8::1]:8443");
    EXPECT_EQ(Parsed("https://a:65535"), "https://a:65535");
    for (const char *url :
         {"", "a", "https://", "https:///", "ftp://a", "https://a/redfish", "https://u:p@a",
          "https://u@a", "https://a:0", "https://a:65536", "https://a:", "https://a:1x",
          "https://[::1", "https://[x]", "https://::1", "https://a b", "https://a?x"})
        EXPECT_EQ(Parsed(url), "(refused)") << url;
}

TEST(Link, HostsAndPortsFromBothSides)
{
    EXPECT_EQ(Parsed("https://AZ.az-09_x"), "https://az.az-09_x");
    for (const char outside : {'@', '[', '`', '{', ',', ';', ' ', '%', '\x7f', '\xe4'})
        EXPECT_EQ(Parsed((std::string("https://a") + outside + "b").c_str()), "(refused)")
            << outside;
    EXPECT_EQ(Parsed(("https://" + std::string(253, 'a')).c_str()),
              "https://" + std::string(253, 'a'));
    EXPECT_EQ(Parsed(("https://" + std::string(254, 'a')).c_str()), "(refused)");
    EXPECT_EQ(Parsed("https://a:1"), "https://a:1");
    EXPECT_EQ(Parsed("https://a:00443"), "https://a");
    EXPECT_EQ(Parsed("https://a:000443"), "(refused)");
    EXPECT_EQ(Parsed("https://a:4/3"), "(refused)");
    EXPECT_EQ(Parsed("https://a:4:3"), "(refused)");
    EXPECT_EQ(Parsed("https://[::1]x"), "(refused)");
    EXPECT_EQ(Parsed("https://[::1]:"), "(refused)");
    EXPECT_EQ(Parsed("https://[::1]"), "https://[::1]");
}

TEST(Link, Loopback)
{
    for (const char *host : {"127.0.0.1", "127.9.9.9", "::1", "localhost"})
        EXPECT_TRUE(OriginIsLoopback({"http", host, 80})) << host;
    for (const char *host :
         {"128.0.0.1", "126.255.255.255", "::2", "localhost.example", "127.example"})
        EXPECT_FALSE(OriginIsLoopback({"http", host, 80})) << host;
}

TEST(Link, IsAPathOnThisService)
{
    EXPECT_EQ(LinkOf(kHere, "/redfish/v1/Chassis/1"), "/redfish/v1/Chassis/1");
    EXPECT_EQ(LinkOf(kHere, "/redfish/v1/Chassis/"), "/redfish/v1/Chassis/");
    EXPECT_EQ(LinkOf(kHere, "/a?$skip=10"), "/a?$skip=10");
    EXPECT_EQ(LinkOf(kHere, "/a#/Temperatures/3"), "/a");
    EXPECT_EQ(LinkOf(kHere, "https://bmc.example/a"), "/a");
    EXPECT_EQ(LinkOf(kHere, "HTTPS://BMC.example:443/a"), "/a");
    for (const char *given :
         {"", "a", "#/a", "//evil/a", "https://evil/a", "http://bmc.example/a",
          "https://bmc.example:444/a", "https://bmc.example@evil/a", "https://evil#bmc.example/a",
          "https://bmc.example", "/a\r\nX: y", "/a\tb", "/a\x7f", "file:///etc/passwd", " /a"})
        EXPECT_EQ(LinkOf(kHere, given), "") << given;
    EXPECT_EQ(LinkOf(kHere, "/CPU 1/\xc3\xa4"), "/CPU%201/%C3%A4");
    EXPECT_EQ(LinkOf(kHere, "/CPU%201"), "/CPU%201");
    EXPECT_EQ(LinkOf(kHere, "/" + std::string(342, ' ')), "");
    EXPECT_EQ(LinkOf(kHere, "/" + std::string(341, ' ')).size(), 1024u);
    Documents read;
    const JsonValue links =
        read("{'A': {'@odata.id': '/a'}, 'B': '/b', 'C': {}, 'D': null, 'E': 'e'}");
    EXPECT_EQ(LinkOf(kHere, links["A"]), "/a");
    EXPECT_EQ(LinkOf(kHere, links["B"]), "/b");
    for (const char *name : {"C", "D", "E", "F"})
        EXPECT_EQ(LinkOf(kHere, links[name]), "") << name;
    EXPECT_EQ(LinkOf(kHere, "/" + std::string(1023, 'a')).size(), 1024u);
    EXPECT_EQ(LinkOf(kHere, "/" + std::string(1024, 'a')), "");
}

TEST(Link, NameIsWithoutFinalSlashAndQuery)
{
    EXPECT_EQ(LinkName("/a/b/"), "/a/b");
    EXPECT_EQ(LinkName("/a/b"), "/a/b");
    EXPECT_EQ(LinkName("/a/b?x=1"), "/a/b");
}

TEST(Link, OrderTakesDigitsAsNumbers)
{
    EXPECT_LT(NaturalCompare("a9", "a10"), 0);
    EXPECT_GT(NaturalCompare("a10", "a9"), 0);
    EXPECT_LT(NaturalCompare("a1b2", "a1b11"), 0);
    EXPECT_LT(NaturalCompare("99999999999999999999998", "99999999999999999999999"), 0);
    EXPECT_EQ(NaturalCompare("a1", "a1"), 0);
    // Zeros before a number count where nothing else differs.
    EXPECT_LT(NaturalCompare("a01", "a1"), 0);
    EXPECT_GT(NaturalCompare("a1", "a01"), 0);
    EXPECT_LT(NaturalCompare("a1", "a01b"), 0);
    EXPECT_GT(NaturalCompare("a01b", "a1"), 0);
    EXPECT_LT(NaturalCompare("a", "ab"), 0);
    EXPECT_LT(NaturalCompare("", "a"), 0);
    EXPECT_LT(NaturalCompare("a", "b1"), 0);
    EXPECT_LT(NaturalCompare("1", "a"), 0);
}

TEST(Link, Pages)
{
    Documents read;
    const CollectionPage page = CollectionPageOf(
        kHere, read("{'Members': [{'@odata.id': '/a/1'}, {}, 3, {'@odata.id': 'https://evil/2'},"
                    " {'@odata.id': '/a/2', 'Id': '2'}], 'Members@odata.count': 7,"
                    " 'Members@odata.nextLink': '/a?$skip=2'}"));
    EXPECT_TRUE(page.hasMembers);
    EXPECT_EQ(page.links, (std::vector<std::string>{"/a/1", "/a/2"}));
    EXPECT_EQ(page.refused, 3u);
    EXPECT_EQ(page.count, 7.0);
    EXPECT_EQ(page.next, "/a?$skip=2");
    EXPECT_FALSE(page.nextElsewhere);
    EXPECT_FALSE(IsExpanded(page.members[0]));
    EXPECT_TRUE(IsExpanded(page.members[1]));

    EXPECT_EQ(CollectionPageOf(kHere, read("{'@odata.nextLink': '/b'}")).next, "/b");
    EXPECT_FALSE(CollectionPageOf(kHere, read("{'@odata.nextLink': '/b'}")).hasMembers);
    const CollectionPage cut =
        CollectionPageOf(kHere, read("{'Members@odata.nextLink': 'https://evil/b'}"));
    EXPECT_EQ(cut.next, "");
    EXPECT_TRUE(cut.nextElsewhere);
    const CollectionPage both = CollectionPageOf(
        kHere, read("{'Members@odata.nextLink': 'https://evil/b', '@odata.nextLink': '/b'}"));
    EXPECT_EQ(both.next, "/b");
    EXPECT_FALSE(both.nextElsewhere);
    EXPECT_FALSE(CollectionPageOf(kHere, read("{'Members': null}")).hasMembers);
    EXPECT_FALSE(CollectionPageOf(kHere, read("{'@odata.nextLink': null}")).nextElsewhere);
    EXPECT_TRUE(CollectionPageOf(kHere, read("{'Members': []}")).hasMembers);
}
