#include "core/log.h"
#include "security/url_filter/url_filter.h"
#include "zu_services.h"

using namespace appcfg;

int32_t igdCmSecureModuleInit() {
    SECURITY_LOG("############ Security Module Init Start ############\n\r\n");
    igdCmSecureUrlFilterAttrInit();
    igdCmSecureUrlFilterListInit();
    igdCmSecureUrlFilterFamilyListInit();
    SECURITY_LOG("############ Security Module Init End ############\n\r\n");
    return 0;
}

void appcfg::url_filter_restart() {
    zu_sec_urlfilter_init();
    igdCmSecureModuleInit();
}
