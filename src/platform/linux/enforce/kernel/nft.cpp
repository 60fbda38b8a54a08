#include <nftables/libnftables.h>

#include "platform/linux/enforce/nft.h"

namespace platform::platformd::enforce {

namespace {

/// Kept from the first use on: making it is several times as dear as a change.
nft_ctx* context() {
    static nft_ctx* const kept = [] {
        auto* made = nft_ctx_new(NFT_CTX_DEFAULT);
        if (made && (nft_ctx_buffer_error(made) != 0 || nft_ctx_buffer_output(made) != 0)) {
            nft_ctx_free(made);
            made = nullptr;
        }
        return made;
    }();
    return kept;
}

/// The first line says what is wrong; the next ones show where.
std::string first_line(std::string text) {
    text.resize(std::min(text.find('\n'), text.size()));
    return text.empty() ? "refused without a reason" : text;
}

bool run(const std::string& text, bool dry, std::string& error) {
    auto* nft = context();
    if (!nft) {
        error = "libnftables cannot be set up";
        return false;
    }
    nft_ctx_set_dry_run(nft, dry);
    const bool done = nft_run_cmd_from_buffer(nft, text.c_str()) == 0;
    const std::string said = nft_ctx_get_error_buffer(nft);
    nft_ctx_get_output_buffer(nft);
    if (!done) error = first_line(said);
    return done;
}

}  // namespace

bool nft_run(const std::string& text, std::string& error) {
    return run(text, false, error);
}

bool nft_check(const std::string& text, std::string& error) {
    return run(text, true, error);
}

std::string nft_list(const std::string& command, Counters counters) {
    auto* nft = context();
    if (!nft) return {};
    nft_ctx_set_dry_run(nft, false);
    if (counters == Counters::Hidden) nft_ctx_output_set_flags(nft, NFT_CTX_OUTPUT_STATELESS);
    const bool done = nft_run_cmd_from_buffer(nft, command.c_str()) == 0;
    nft_ctx_output_set_flags(nft, 0);
    nft_ctx_get_error_buffer(nft);
    const char* listed = nft_ctx_get_output_buffer(nft);
    return done && listed ? listed : "";
}

}  // namespace platform::platformd::enforce
