#include "support/DateDescription.h"

#include "support/Format.h"

namespace cutstack {

std::string dateDescription(std::chrono::system_clock::time_point moment,
                            std::chrono::seconds zoneOffset) {
    using namespace std::chrono;
    const auto local = floor<seconds>(moment) + zoneOffset;
    const auto day = floor<days>(local);
    const year_month_day date(day);
    const hh_mm_ss time(local - day);
    const hh_mm_ss zone(abs(zoneOffset));
    return formatString("%04i-%02u-%02u %02i:%02i:%02i %@%02i%02i",
                        {int{date.year()}, unsigned{date.month()}, unsigned{date.day()},
                         time.hours().count(), time.minutes().count(), time.seconds().count(),
                         zoneOffset < seconds(0) ? "-" : "+", zone.hours().count(),
                         zone.minutes().count()});
}

std::string dateDescription(const Clock& clock) {
    const auto now = clock.now();
    return dateDescription(now, clock.zoneOffset(now));
}

} // namespace cutstack
