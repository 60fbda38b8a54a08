#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "platform/include/records/ip_filter.h"
#include "platform/include/zu_services.h"
#include "platformd_fixture.h"

namespace {

/// Damaged forms of well-formed requests, the same ones in every run.
class RequestFuzzer {
  public:
    Message next(Message message) {
        for (auto damages = pick(4); damages > 0 && !message.empty(); --damages)
            damage(message, pick(std::min<size_t>(message.size(), 80)));
        return message;
    }

  private:
    size_t pick(size_t below) {
        return std::uniform_int_distribution<size_t>(0, below - 1)(random_);
    }

    void damage(Message& message, size_t at) {
        const auto byte = static_cast<char>(pick(256));
        switch (pick(4)) {
            case 0:
                message[at] = byte;
                break;
            case 1:
                message.resize(at);
                break;
            case 2:
                message.append(pick(40000), byte);
                break;
            default:
                message.insert(at, 1, byte);
        }
    }

    std::mt19937 random_{20240229};
};

TEST_F(PlatformdTest, HostileCallersHarmNobody) {
    RequestFuzzer fuzzer;
    const Message models[] = {
        request_message(kIpFilterRuleAdd.name, true, as_message(st_filter_list{})),
        request_message("platformd_state", true, Message(32768, 'x')),
        request_message("platformd_trace", true, Message(32768, '\xff')),
        request_message("platformd_fault", true, Message(80, '\1')),
        request_message("platformd_describe", true, Message(32768, '\1')),
    };
    for (int i = 0; i < 4000; ++i) {
        const RawSocket caller(RawSocket::connected(".platformd"));
        ASSERT_GE(caller.fd(), 0);
        caller.send_message(fuzzer.next(models[i % std::size(models)]));
    }
    platformd_.send_signal(SIGHUP);
    EXPECT_EQ(0, zu_qos_init());
    EXPECT_TRUE(platformd_.alive());
    EXPECT_EQ(0, platformd_.end(SIGTERM));
}

}  // namespace
