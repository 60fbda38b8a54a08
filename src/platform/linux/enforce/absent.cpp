#include "platform/linux/enforce/bridge_port.h"
#include "platform/linux/enforce/conntrack.h"
#include "platform/linux/enforce/learnt.h"
#include "platform/linux/enforce/links.h"
#include "platform/linux/enforce/nft.h"
#include "platform/linux/enforce/tc.h"

namespace platform::platformd::enforce {

bool nft_run(const std::string&, std::string& error) {
    error = "built without the libraries that talk to the kernel";
    return false;
}

bool nft_check(const std::string& text, std::string& error) {
    return nft_run(text, error);
}

std::string nft_list(const std::string&, Counters) {
    return {};
}

bool bridge_port_set(const std::string&, bool, std::string& error) {
    return nft_run({}, error);
}

void bridge_port_forget(const std::string&) {}

bool forget_connections(uint32_t, bool (*)(const Connection&), std::string& error) {
    return nft_run({}, error);
}

void forget_hosts(const std::vector<base::MacAddress>&) {}

bool links_start(void (*)()) {
    return false;
}

void links_stop() {}

bool tc_apply(const Trees&, std::string& error) {
    return nft_run({}, error);
}

bool tc_release(std::string&) {
    return true;
}

void tc_list(std::string&) {}

void tc_audit(const Trees&, std::string&) {}

}  // namespace platform::platformd::enforce
