#pragma once

// For tests only: where the DNS filter's files are.

namespace appcfg {

struct DnsFilterFiles {
    const char* host_list;       ///< the list of domains, one a line
    const char* rule_host_list;  ///< a rule's own list is this, "_" and the rule's index
};

extern DnsFilterFiles dns_filter_files;

}  // namespace appcfg
