#include "qlip/host.h"

#define QLIP_TEXT_OF(number) #number
#define QLIP_TEXT(number) QLIP_TEXT_OF(number)

unsigned int qlip_version(void) {
    return QLIP_VERSION;
}

const char* qlip_version_text(void) {
    return QLIP_TEXT(QLIP_VERSION_MAJOR) "." QLIP_TEXT(QLIP_VERSION_MINOR) "." QLIP_TEXT(QLIP_VERSION_PATCH);
}
