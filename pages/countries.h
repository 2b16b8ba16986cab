// The countries the modem and certificate pages offer, in the device's own
// order (not strictly alphabetical: AU before AT, DK before DE, IN before IL).
#pragma once

struct Country {
    const char* iso;    // ISO 3166 two-letter code
    const char* t35;    // ITU-T T.35 country code, two hexadecimal digits
    const char* other;  // a second code the pages do not use
};

constexpr int COUNTRY_COUNT = 85;
extern const Country COUNTRIES[COUNTRY_COUNT];
