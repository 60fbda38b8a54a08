#include "platform/linux/record_text.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace platform;

namespace {

struct Limit {
    uint32_t valid;
    int32_t port;
    double rate;
};

constexpr RecordField kLimitFields[] = {
    RECORD_FIELD(Limit, valid, 0),
    RECORD_FIELD(Limit, port, 4),
    RECORD_FIELD(Limit, rate, 8),
};
constexpr auto kLimitLayout = RECORD_LAYOUT(Limit, 16, kLimitFields);

struct Everything {
    Limit limits[3];
    char names[2][6];
    uint8_t mac[3];
    uint8_t small;
    uint16_t ports[2];
    uint8_t reserved[4];
    int64_t large;
};

constexpr RecordField kEverythingFields[] = {
    RECORD_GROUP(Everything, limits, 0, kLimitLayout),
    RECORD_FIELD(Everything, names, 48),
    RECORD_FIELD(Everything, mac, 60),
    RECORD_FIELD(Everything, small, 63),
    RECORD_FIELD(Everything, ports, 64),
    RECORD_PADDING(Everything, reserved, 68),
    RECORD_FIELD(Everything, large, 72),
};
constexpr auto kEverythingLayout = RECORD_LAYOUT(Everything, 80, kEverythingFields);

std::span<const uint8_t> bytes_of(const Everything& record) {
    return {reinterpret_cast<const uint8_t*>(&record), sizeof(record)};
}

std::string text_of(const Everything& record) {
    std::string text;
    append_record(text, kEverythingLayout, bytes_of(record));
    return text;
}

TEST(RecordText, ShowsEveryKindOfField) {
    Everything record{};
    record.limits[2] = {.valid = 4294967295, .port = -1, .rate = 1000.5};
    memcpy(record.names,
           "ab\"\n\\\xff"
           "full",
           10);
    memcpy(record.mac, "\x00\x0a\xff", 3);
    record.small = 200;
    record.ports[1] = 65535;
    record.large = INT64_MIN;
    EXPECT_EQ(
        "limits[2].valid=4294967295 limits[2].port=-1 limits[2].rate=1000.5 "
        "names=\"ab\\\"\\x0a\\\\\\xff\",\"full\" mac=000aff small=200 ports=0,65535 "
        "large=-9223372036854775808",
        text_of(record));
}

}  // namespace
