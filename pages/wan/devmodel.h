// The device model, from the first bytes of "/etc/deviceID": it tells which
// internal modem the device carries. Shared by the modem, dial-out and
// dial-in pages.
#pragma once

#include <cstddef>

constexpr size_t DEVICE_ID_SIZE = 32;  // at most 31 bytes are read

enum class InternalModem {
    none,     // "MX-RT-210B-KORU": no internal modem
    analog,   // "MX-RT-210B-AN-KORU"
    isdn,     // "MX-RT-210B-ISDN-KORU"
    gsm,      // "MX-RT-210B-GSM-KORU"
    unknown,  // any other identification
};

// Reads at most 31 bytes of "/etc/deviceID" into id, zero-filled; false (with
// errno from the open) when the file cannot be opened.
bool read_device_id(char (&id)[DEVICE_ID_SIZE]);

// The internal modem of an identification, by prefix: only the beginning
// counts, so a trailing newline or any suffix is ignored.
InternalModem internal_modem(const char* id);

// Whether the device is the model without internal modem. A model that cannot
// be read is reported at failure and counts as one with a modem.
bool lacks_internal_modem(const char* failure);
