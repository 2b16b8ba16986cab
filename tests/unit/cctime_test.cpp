// The time page's clock placeholders for a given moment.
#include "pages/pages.h"

#include "unit_support.h"

namespace {

class CctimeClock : public SandboxTest {};

TEST_F(CctimeClock, GivesRawYearAndMonthAndTheSystemTime)
{
    const struct {
        time_t when;
        const char* shown;
    } cases[] = {
        {1767596649, "126|0|5|7|4|9|05.01.2026, 07:04:09|126"},   // 2026-01-05 07:04:09 UTC
        {1709251199, "124|1|29|23|59|59|29.02.2024, 23:59:59|124"},  // a leap day's last second
        {946598400, "99|11|31|0|0|0|31.12.1999, 00:00:00|99"},
    };
    for (const auto& c : cases) {
        page("{YEAR}|{MONTH}|{DAY}|{HOUR}|{MIN}|{SEC}|{SYSTEMZEIT}|{YEAR}");
        EXPECT_EQ(cctime_show_clock(c.when), 0);
        EXPECT_EQ(page(), c.shown);
        tmpl_free();
    }
    EXPECT_EQ(records(), "");
}

}  // namespace
