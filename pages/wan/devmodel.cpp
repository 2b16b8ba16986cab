#include "pages/wan/devmodel.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "device/device.h"
#include "render/aux.h"

namespace {

struct Model {
    const char* id;
    InternalModem modem;
};

// Compared over each string's own length (15, 18, 20 and 19 characters).
const Model MODELS[] = {
    {"MX-RT-210B-KORU", InternalModem::none},
    {"MX-RT-210B-AN-KORU", InternalModem::analog},
    {"MX-RT-210B-ISDN-KORU", InternalModem::isdn},
    {"MX-RT-210B-GSM-KORU", InternalModem::gsm},
};

}  // namespace

bool read_device_id(char (&id)[DEVICE_ID_SIZE])
{
    memset(id, 0, sizeof id);
    FILE* f = dev_fopen("/etc/deviceID", "r");
    if (!f)
        return false;
    size_t got = fread(id, 1, sizeof id - 1, f);
    id[got] = '\0';
    int saved = errno;
    fclose(f);
    errno = saved;
    return true;
}

InternalModem internal_modem(const char* id)
{
    for (const Model& m : MODELS)
        if (strncmp(id, m.id, strlen(m.id)) == 0)
            return m.modem;
    return InternalModem::unknown;
}

bool lacks_internal_modem(const char* failure)
{
    char id[DEVICE_ID_SIZE];
    if (read_device_id(id))
        return internal_modem(id) == InternalModem::none;
    aux_error(failure, errno);
    return false;
}
