#include <gtest/gtest.h>

#include <random>
#include <sstream>

#include "platform/linux/inspect/flows.h"
#include "platform/linux/inspect/http.h"
#include "platform/linux/inspect/list_message.h"
#include "platform/linux/inspect/tls.h"

using namespace platform;
using namespace platform::inspect;
using namespace std::string_literals;

namespace {

Bytes bytes(std::string_view text) {
    return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

/// The text behind its length in that many octets.
std::string sized(int octets, const std::string& text) {
    std::string length;
    for (int shift = 8 * octets - 8; shift >= 0; shift -= 8)
        length += static_cast<char>(text.size() >> shift);
    return length + text;
}

std::string records(const std::string& message, size_t each = 16384) {
    std::string stream;
    for (size_t at = 0; at < message.size(); at += each)
        stream += "\x16\x03\x01" + sized(2, message.substr(at, each));
    return stream;
}

const std::string kGrease = "\x0a\x0a" + sized(2, "\0"s);
const std::string kVersions = "\0\x2b"s + sized(2, "\x02\x03\x04");

std::string name_extension(const std::string& name) {
    return "\0\0"s + sized(2, sized(2, "\0"s + sized(2, name)));
}

std::string hello(const std::string& extensions) {
    return "\x01" + sized(3, "\x03\x03" + std::string(32, 'r') + sized(1, std::string(32, 's')) +
                                 sized(2, "\x13\x01\xc0\x2f") + sized(1, "\0"s) + extensions);
}

std::string hello_to(const std::string& name) {
    return hello(sized(2, kGrease + kVersions + name_extension(name) + kGrease));
}

std::string reads(const std::string& stream) {
    std::string host;
    const auto reading = read_hello(bytes(stream), host);
    return reading == Reading::Done ? "to " + host : reading == Reading::More ? "more" : "other";
}

TEST(InspectTest, AHelloIsReadHoweverItIsCut) {
    const auto message = hello_to("WWW.Bad.Example.");
    const auto whole = records(message);
    EXPECT_EQ("to www.bad.example", reads(whole + "\x14\x03\x03\0\x01\x01"s));
    for (size_t size = 0; size < whole.size() - kGrease.size(); ++size)
        EXPECT_EQ("more", reads(whole.substr(0, size))) << size;
    for (size_t each = 1; each < message.size(); ++each)
        EXPECT_EQ("to www.bad.example", reads(records(message, each))) << each;
}

TEST(InspectTest, AHelloMaySayNoName) {
    EXPECT_EQ("to ", reads(records(hello(""))));
    EXPECT_EQ("to ", reads(records(hello(sized(2, "\0\0"s + sized(2, sized(2, "")))))));
    EXPECT_EQ("to a.example", reads(records("\x01\xff\xff\xff" + hello_to("a.example").substr(4))));
}

TEST(InspectTest, WhatIsNoHelloIsNone) {
    const auto message = hello_to("a.example");
    for (const auto& stream :
         {"GET / HTTP/1.1\r\n\r\n"s, "\x16\x02"s, "\x16\x03\x01\xff\xff\x01"s, "\x16\x03\x01\0\0"s,
          records("\x02" + message.substr(1)),
          records(message.substr(0, 60)) + "\x17\x03\x03\0\x01x"s,
          records("\x01" + sized(3, "short")), records(hello("\0\x05\0\0"s)),
          records(hello(sized(2, "\0\0"s + sized(2, "\0\x09\0\0\x01" + "a"s))))})
        EXPECT_EQ("other", reads(stream)) << stream;
    EXPECT_TRUE(is_running_tls(bytes("\x17\x03\x03\x01")));
    EXPECT_FALSE(is_running_tls(bytes(records(message))));
}

std::string request(const std::string& text) {
    Request found;
    const auto reading = read_request(bytes(text), found);
    if (reading == Reading::Other) return "other";
    return (reading == Reading::More ? "more " : "") + found.host + found.path +
           (found.body ? " +" + std::to_string(found.body) : "") + (found.boundless ? " ..." : "");
}

TEST(InspectTest, ARequestSaysItsHostAndItsPath) {
    const std::pair<const char*, const char*> kCases[] = {
        {"GET /a%62?q HTTP/1.1\r\nHost: A.Example\r\n\r\n", "a.example/ab?q"},
        {"\r\nPOST / HTTP/1.1\nhOST:a.example.:80\nContent-Length: 7\n\n", "a.example/ +7"},
        {"GET http://u@b.example:8080?q HTTP/1.1\r\nHost: a\r\n\r\n", "b.example/?q"},
        {"GET / HTTP/1.1\r\nX: y\r\n Host: b\r\nHost:\r\n\ta.example \r\n\r\n", "a.example/"},
        {"GET / HTTP/1.0\r\nHost: [fd00::1]:80\r\n\r\n", "fd00::1/"},
        {"GET / HTTP/1.1\r\nHost: \xff\xfe\r\n\r\n", "\xff\xfe/"},
        {"GET %zz%4 HTTP/1.1\r\nHost: a\r\n\r\n", "a/%zz%4"},
        {"PUT /x y HTTP/1.1\r\nTransfer-Encoding: chunked\r\nHost: a\r\n\r\n", "a/x y ..."},
        {"PUT / HTTP/1.1\r\nContent-Length: 5\r\nContent-Length: 6\r\n\r\n", "/ +6 ..."},
        {"PUT / HTTP/1.1\r\nContent-Length: 99999999999999999999\r\n\r\n", "/ ..."},
        {"CONNECT a.example:443 HTTP/1.1\r\n\r\n", "a.example/ ..."},
        {"GET / HTTP/1.1\r\nHost: a.exam", "more /"},
        {"GET / HTTP/1.1\r\nHost: a.example\r\nX", "more a.example/"},
        {"GET /\r\n", "other"},
        {"AMETHODTHATISLONGERTHANANYTHATTHEREIS", "other"},
        {"\x16\x03\x01", "other"},
    };
    for (const auto& [text, expected] : kCases)
        EXPECT_EQ(expected, request(text)) << text;
}

struct Address {
    const char* url;
    const char* mac = "";
    uint32_t protocols = kAllProtocols;
};

std::string list_of(uint32_t type, const std::vector<Address>& addresses) {
    const ListHeader header{kListMagic, type, static_cast<uint32_t>(addresses.size()), 0};
    std::string message(reinterpret_cast<const char*>(&header), sizeof(header));
    for (const auto& address : addresses) {
        st_url_address record{1, address.protocols, {}, {}, {}};
        strncpy(record.url_name, address.url, sizeof(record.url_name));
        strncpy(record.host_mac, address.mac, sizeof(record.host_mac));
        message.append(reinterpret_cast<const char*>(&record), sizeof(record));
    }
    return message;
}

Lists lists(uint32_t type, const std::vector<Address>& addresses) {
    Lists made;
    EXPECT_TRUE(made.take(bytes(list_of(type, addresses))));
    return made;
}

constexpr Mac kChild{2, 0, 0, 0, 0, 0x1a}, kParent{2};

/// For each URL whether the client is stopped at it, by HTTP (h) and by TLS (s).
std::string stopped(const Lists& listed, const Mac& client, const std::string& urls) {
    std::string text, url;
    for (std::istringstream words(urls); words >> url;) {
        const auto host = url.substr(0, url.find('/')), path = url.substr(host.size());
        text += listed.stops({kHttp, client, host, path}) ? " h" : " -";
        text += listed.stops({kHttps, client, host, {}}) ? "s" : "-";
    }
    return text;
}

TEST(InspectTest, AListMeansHostsPathsProtocolsAndClients) {
    const auto black = lists(kUrlFilterBlackList, {{"HTTP://Bad.Example:80/"},
                                                   {"part.example/ad%73"},
                                                   {"*.plain.example", "", kHttp},
                                                   {"game.example", "02-00-00-00-00-1A"}});
    const auto hosts = "bad.example/ a.bad.example/x notbad.example/ bad.example.org/ /";
    EXPECT_EQ(" hs hs -- -- --", stopped(black, kParent, hosts));
    const auto paths =
        "part.example/ads part.example/ads/1 part.example/ads?x part.example/adsense";
    EXPECT_EQ(" h- h- h- --", stopped(black, kParent, paths));
    EXPECT_EQ(" h- --", stopped(black, kParent, "plain.example/ game.example/"));
    EXPECT_EQ(" hs", stopped(black, kChild, "game.example/"));

    const auto white = lists(kUrlFilterWhiteList, {{"good.example"}, {"part.example/in"}});
    const auto some = "www.good.example/ bad.example/ / part.example/in part.example/out";
    EXPECT_EQ(" -- hs hs -- h-", stopped(white, kParent, some));
    const auto one = lists(kUrlFilterWhiteList, {{"good.example", "02:00:00:00:00:1a", kHttps}});
    EXPECT_EQ(" --", stopped(one, kParent, "bad.example/"));
    EXPECT_EQ(" -s", stopped(one, kChild, "bad.example/"));
}

TEST(InspectTest, AListThatMakesNoSenseChangesNothing) {
    auto held = lists(kUrlFilterBlackList, {{"a.example"}});
    const auto id = held.id();
    const std::string good = list_of(kUrlFilterBlackList, {{"b.example"}});
    for (const auto& message :
         {""s, good.substr(1), good.substr(0, good.size() - 1), good + "x",
          list_of(2, {{"b.example"}}), list_of(0, {{"b.example", "02:00:00:00:00:0g"}}),
          list_of(0, {{"b\xfc.example"}}), list_of(0, {{"/path"}}),
          list_of(0, {{std::string(256, 'b').c_str()}}),
          list_of(0, {{"b.example", "123456789012345678"}})})
        EXPECT_FALSE(held.take(bytes(message))) << message;
    EXPECT_EQ(id, held.id());
    EXPECT_TRUE(held.stops({kHttp, kChild, "a.example", "/"}));
}

/// One connection: what becomes of each packet, as letters: look, pass, stop.
class Connection {
  public:
    Connection(const Lists& listed, uint16_t port) : lists_(listed) { segment_.port = port; }

    char send(const std::string& payload, uint32_t at) {
        segment_.sequence = kFirst + at;
        segment_.payload = bytes(payload);
        return "lps"[static_cast<int>(flows_.judge(segment_, kParent, lists_))];
    }
    std::string send(const std::vector<std::string>& payloads) {
        std::string verdicts;
        for (uint32_t at = 0; const auto& payload : payloads) {
            verdicts += send(payload, at);
            at += static_cast<uint32_t>(payload.size());
        }
        return verdicts;
    }

  private:
    static constexpr uint32_t kFirst = 0xffffffc0;  // the numbers go round on the way

    const Lists& lists_;
    Flows flows_;
    Segment segment_{};
};

std::string get(const std::string& host, const std::string& more = "") {
    return "GET / HTTP/1.1\r\nHost: " + host + "\r\n" + more + "\r\n";
}

TEST(InspectTest, EveryRequestOfAConnectionIsJudged) {
    const auto black = lists(kUrlFilterBlackList, {{"bad.example"}});
    const auto good = get("good.example"), bad = get("bad.example");
    const auto put = get("good.example", "Content-Length: " + std::to_string(bad.size()) + "\r\n");
    const auto chunked = get("good.example", "Transfer-Encoding: chunked\r\n");
    const auto said = [&black](const std::vector<std::string>& packets) {
        return Connection(black, 80).send(packets);
    };
    EXPECT_EQ("ls", said({good, bad}));
    EXPECT_EQ("s", said({good + bad}));
    EXPECT_EQ("llls", said({put, bad, good, bad}));
    EXPECT_EQ("lls", said({put + bad.substr(0, 9), bad.substr(9) + good, bad}));
    EXPECT_EQ("lllls", said({chunked, "1\r\nx\r\n0\r\n\r\n", good, "x", bad}));
    EXPECT_EQ("ls", said({std::string(70000, '\xff'), bad}));
    EXPECT_EQ("ls", said({bad.substr(0, 26) + "example", "\r\n\r\n"}));
    EXPECT_EQ("ls", said({"GET / HTTP/1.1\r\nX: " + std::string(9000, 'x'), bad}));
}

TEST(InspectTest, PiecesMayComeInAnyOrderAndAgain) {
    const auto black = lists(kUrlFilterBlackList, {{"bad.example"}});
    for (const auto& [port, stream] :
         {std::pair(80, get("bad.example")), std::pair(443, records(hello_to("bad.example")))}) {
        for (uint32_t cut = 1; cut + 20 < stream.size(); ++cut) {
            Connection in_order(black, static_cast<uint16_t>(port));
            EXPECT_EQ('l', in_order.send(stream.substr(0, cut), 0)) << cut;
            EXPECT_EQ('l', in_order.send(stream.substr(0, cut), 0)) << cut;
            EXPECT_EQ('l', in_order.send(stream.substr(cut + 9, 99), cut + 9)) << cut;
            EXPECT_EQ('s', in_order.send(stream.substr(cut / 2), cut / 2)) << cut;
        }
    }
}

TEST(InspectTest, ATlsConnectionIsJudgedOnce) {
    const auto black = lists(kUrlFilterBlackList, {{"bad.example"}});
    const auto white = lists(kUrlFilterWhiteList, {{"good.example"}});
    const auto padded = records(hello(sized(2, "\0\x15"s + sized(2, std::string(9000, '\0')))));
    const std::pair<std::string, const char*> kCases[] = {
        {records(hello_to("good.example")), "pp"},
        {records(hello_to("bad.example")), "ss"},
        {records(hello("")), "ps"},
        {"SSH-2.0-x\r\n", "ps"},
        {"\x17\x03\x03\0\x20"s, "pp"},
        {padded, "ps"},
    };
    for (const auto& [stream, expected] : kCases) {
        EXPECT_EQ(expected[0], Connection(black, 443).send(stream, 0)) << stream;
        EXPECT_EQ(expected[1], Connection(white, 443).send(stream, 0)) << stream;
    }
}

std::string packet(bool v6, const std::string& payload) {
    const auto tcp = "\x12\x34\0\x50\0\0\0\x01\0\0\0\0\x50\x18\xff\xff\0\0\0\0"s + payload;
    if (v6)
        return "\x60\0\0\0"s + sized(2, tcp).substr(0, 2) + "\x06\x40" + std::string(32, 'a') + tcp;
    const auto whole = sized(2, std::string(20, ' ') + tcp).substr(0, 2);
    return "\x45\0"s + whole + "\0\0\x40\0\x40\x06\0\0"s + "aaaabbbb" + tcp;
}

std::string payload_of(const std::string& text) {
    Segment segment;
    if (!read_segment(bytes(text), segment)) return "none";
    return std::string(segment.payload.begin(), segment.payload.end());
}

TEST(InspectTest, ASegmentIsWhatItsHeadersSay) {
    for (const bool v6 : {false, true}) {
        const auto whole = packet(v6, "payload");
        EXPECT_EQ("payload", payload_of(whole + "padding"));
        for (size_t size = 0; size < whole.size() - 7; ++size)
            EXPECT_EQ("none", payload_of(whole.substr(0, size))) << size;
    }
    auto fragment = packet(false, "payload");
    fragment[7] = 1;
    EXPECT_EQ("none", payload_of(fragment));
}

std::string mutant(std::string text, std::minstd_rand& random) {
    for (auto left = random() % 4; left > 0 && !text.empty(); --left) {
        const size_t at = random() % text.size(), size = random() % 64;
        const auto kind = random() % 4;
        if (kind == 0) text[at] = static_cast<char>(text[at] ^ 1 << size % 8);
        if (kind == 1)
            text.replace(at, size % 4, std::string(size % 4, static_cast<char>(random())));
        if (kind == 2) text.erase(at, size);
        if (kind == 3) text.insert(at, text.substr(random() % text.size(), size));
    }
    return text;
}

// The sanitizers see what this cannot.
TEST(InspectTest, NothingThatIsSentDoesHarm) {
    std::minstd_rand random(1);
    const std::vector<std::string> corpus{records(hello_to("bad.example")),
                                          records(hello_to("b.example"), 7), get("bad.example"),
                                          get("b.example", "Content-Length: 9\r\nA:\r\n b\r\n"),
                                          list_of(1, {{"a.example/x%41", "02-00-00-00-00-1a"}})};
    auto listed = lists(kUrlFilterBlackList, {{"bad.example/x"}});
    Flows flows;
    for (int round = 0; round < 5000; ++round) {
        const auto text = mutant(corpus[random() % corpus.size()], random);
        listed.take(bytes(text));
        Request found;
        if (read_request(bytes(text), found) == Reading::Done) {
            ASSERT_LE(found.size, text.size());
        }
        Segment segment{};
        if (!read_segment(bytes(mutant(packet(round % 2, text), random)), segment)) continue;
        segment.payload = bytes(text);
        segment.port = round % 3 ? 80 : 443;
        flows.judge(segment, kParent, listed);
        ASSERT_LE(flows.size(), 4096);
    }
}

// Whoever sends the beginning of another request behind a long one has its connection remembered.
TEST(InspectTest, LittleIsKeptOfMany) {
    const auto text = get("good.example", "X: " + std::string(8000, 'x') + "\r\n") + "G";
    const auto listed = lists(kUrlFilterBlackList, {{"bad.example"}});
    Flows flows;
    Segment segment{};
    segment.port = 80;
    segment.payload = bytes(text);
    for (segment.key[1] = 0; segment.key[1] < 100; ++segment.key[1])
        for (segment.key[2] = 0; segment.key[2] < 10; ++segment.key[2])
            flows.judge(segment, kParent, listed);
    EXPECT_LT(flows.size() * 8000, 5 << 20);
}

}  // namespace
