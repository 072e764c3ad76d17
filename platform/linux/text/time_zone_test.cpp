#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <random>
#include <sstream>
#include <thread>

#include "platform/calendar.h"
#include "platform/linux/text/current_time_zone.h"
#include "tests/support/temporary_folder.h"

namespace pellam {
namespace {

using testing_support::TemporaryFolder;

// Sets TZ for one test, or takes it away, and gives it back.
class Environment {
 public:
  Environment() {
    if (const char* value = std::getenv("TZ")) before_ = value;
  }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;
  ~Environment() { set(before_ ? before_->c_str() : nullptr); }

  static void set(const char* value) {
    if (value == nullptr) {
      ::unsetenv("TZ");
    } else {
      ::setenv("TZ", value, 1);
    }
    ::tzset();
  }

 private:
  std::optional<std::string> before_;
};

std::string systemZoneFile(const std::string& name) {
  return TemporaryFolder::read("/usr/share/zoneinfo/" + name);
}

// What the C library says under TZ, which is what every other program on the system shows.
std::int64_t systemOffset(std::int64_t utc) {
  const time_t time = utc;
  struct tm parts {};
  (void)::localtime_r(&time, &parts);
  return parts.tm_gmtoff;
}

constexpr std::int64_t secondsPerYear = 31'556'952;

std::int64_t differences(const char* zone, int firstYear, int lastYear) {
  Environment::set(zone);
  CurrentTimeZone current(std::nullopt);
  const TimeZoneTable& table = current.refreshed();
  std::int64_t count = 0;
  const std::int64_t end = (lastYear - 1970) * secondsPerYear;
  for (std::int64_t utc = (firstYear - 1970) * secondsPerYear; utc < end; utc += 975'600) {
    const std::int64_t offset = table.offsetAt(utc);
    if (offset != systemOffset(utc)) ++count;
    const TimeZoneTable::Instants instants = table.instantsOf(utc + offset);
    if (instants.first != utc && instants.last != utc) ++count;
  }
  return count;
}

TEST(TimeZoneTest, EveryZoneGoesAsTheSystemSays) {
  std::ifstream list("/usr/share/zoneinfo/zone1970.tab");
  if (!list) GTEST_SKIP() << "no zones on this system";
  const Environment environment;
  int zones = 0;
  for (std::string line; std::getline(list, line);) {
    if (line.starts_with('#')) continue;
    std::istringstream columns(line);
    std::string zone;
    columns >> zone >> zone >> zone;
    EXPECT_EQ(differences(zone.c_str(), 1900, 2140), 0) << zone;
    ++zones;
  }
  EXPECT_GT(zones, 250);
}

TEST(TimeZoneTest, RulesInTZGoAsTheSystemSays) {
  const Environment environment;
  for (const char* rule :
       {"CET-1CEST,M3.5.0,M10.5.0/3", "EST5EDT4,M3.2.0/02:30:15,M11.1.0", "<+0545>-5:45",
        "AEST-10AEDT,M10.1.0,M4.1.0/3", "<-02>2<-01>,M3.5.0/-1,M10.5.0/0", "IST-1GMT0,M10.5.0,M3.5.0/1",
        "XXX3YYY2:30,J60,J300/23", "XXX-3YYY,59/25,299/-2", ":CET-1CEST,J60/0,J300",
        "EET-2EEST,M3.4.4/50,M10.4.4/50", "Nowhere", "AB3", "", ":", "/etc/passwd", "/dev/zero", "America"}) {
    EXPECT_EQ(differences(rule, 1971, 2500), 0) << rule;  // the library counts no days before 1970
  }
  EXPECT_EQ(TimeZoneRule::parse("CET-1CEST")->changesOf(2025),
            TimeZoneRule::parse("CET-1CEST-2,M3.2.0/2,M11.1.0/2")->changesOf(2025));
  // Daylight saving all year, as the format's own description has it.
  CurrentTimeZone always("XXX3EDT4,0/0,J365/23");
  for (int day = 0; day < 3000; ++day) ASSERT_EQ(always.refreshed().offsetAt(day * 86'400), -4 * 3600) << day;
  for (const char* broken : {"CET-1CEST,M13.1.0,M1.1.0", "CET-1CEST,M3.6.0,M1.1.0", "CET-1CEST,M3.5.7,M1.1.0",
                             "CET-1CEST,J0,J1", "CET-1CEST,366,1", "CET-1CEST,1", "CET-1CEST,1,2,3", "CET-25",
                             "CET-1:60", "CET", "<CE T>1", "CET1x", "CET1CEST,1/168,2"}) {
    EXPECT_FALSE(TimeZoneRule::parse(broken)) << broken;
  }
}

// The wall clock in zones and years that others get wrong: what governments decided lately is in the system's
// data, years far ahead are in no list.
TEST(TimeZoneTest, DaysBeginWhereTheZoneIs) {
  const struct {
    const char* zone;
    const char* day;
    std::int64_t utc;
  } rows[] = {
      {"Africa/Cairo", "2025-07-01", 1'751'317'200},
      {"Asia/Gaza", "2025-07-01", 1'751'317'200},
      {"America/Asuncion", "2025-07-01", 1'751'338'800},
      {"CET-1CEST,M3.5.0,M10.5.0/3", "2025-07-01", 1'751'320'800},
      {"CET-1CEST,M3.5.0,M10.5.0/3", "1800-07-01", -5'349'031'200},
      {"Europe/Berlin", "9999-07-01", 253'386'396'000},
      {"America/Havana", "2024-11-03",
       1'730'610'000},  // midnight comes twice; the formatter takes the second
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Calendar(row.zone).parseDay(row.day), Date(std::chrono::seconds(row.utc)))
        << row.zone << " " << row.day;
  }
  const Calendar havana("America/Havana");
  const Date summer = *havana.parseDay("2024-11-02");
  EXPECT_EQ(havana.addingDays(summer, 1), summer + std::chrono::hours(24));  // the first midnight
  EXPECT_EQ(havana.addingDays(summer, 2), summer + std::chrono::hours(49));
  EXPECT_EQ(Calendar("UTC").addingDays(Date::min(), 1), std::nullopt);
}

TEST(TimeZoneTest, TheZoneMayChangeWhileTheProgramRuns) {
  const std::string berlin = systemZoneFile("Europe/Berlin");
  const std::string tokyo = systemZoneFile("Asia/Tokyo");
  if (berlin.empty() || tokyo.empty()) GTEST_SKIP() << "no zones on this system";
  const Environment environment;
  Environment::set(nullptr);
  const TemporaryFolder folder;
  CurrentTimeZone current(std::nullopt, {(folder / "localtime").string(), (folder / "zones").string()});
  const auto hours = [&] { return current.refreshed().offsetAt(1'700'000'000) / 3600; };
  EXPECT_EQ(hours(), 0);
  folder.write("zones/Berlin", berlin);
  folder.write("zones/Tokyo", tokyo);
  std::filesystem::create_symlink("zones/Berlin", folder / "localtime");
  EXPECT_EQ(hours(), 1);
  std::filesystem::create_symlink("zones/Tokyo", folder / "next");
  std::filesystem::rename(folder / "next", folder / "localtime");
  EXPECT_EQ(hours(), 9);
  folder.write("zones/Tokyo", "not a zone");  // under way
  EXPECT_EQ(hours(), 0);
  folder.write("zones/Tokyo", tokyo);
  EXPECT_EQ(hours(), 9);
  Environment::set("Berlin");
  EXPECT_EQ(hours(), 1);
  Environment::set("XXX5");
  EXPECT_EQ(hours(), -5);
  Environment::set("");
  EXPECT_EQ(hours(), 0);
  // The same through the calendar, on a thread that has asked before.
  Environment::set("XXX5");
  const Calendar calendar;
  const Date before = *calendar.parseDay("2024-01-15");
  Environment::set("XXX-3");
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_EQ(before - *calendar.parseDay("2024-01-15"), std::chrono::hours(8));
}

TEST(TimeZoneTest, DamagedZoneFilesAreReadOrRefused) {
  const std::string whole = systemZoneFile("Europe/Berlin");
  if (whole.empty()) GTEST_SKIP() << "no zones on this system";
  const auto read = [](std::string_view bytes) {
    return readTimeZoneFile({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
  };
  ASSERT_TRUE(read(whole));
  const auto used = [&](const std::string& bytes) {
    const std::optional<TimeZoneData> data = read(bytes);
    if (!data) return false;
    const TimeZoneTable table(*data);
    for (const std::int64_t time : {-9'000'000'000'000LL, 0LL, 1'700'000'000LL, 9'000'000'000'000LL}) {
      EXPECT_LE(std::abs(table.offsetAt(time)), 26 * 3600);
      (void)table.instantsOf(time);
    }
    return true;
  };
  for (std::size_t length = 0; length + 1 < whole.size(); ++length) {
    // Without the last line feed alone nothing is missing.
    EXPECT_FALSE(used(whole.substr(0, length)) && length + 60 < whole.size()) << length;
  }
  std::mt19937 random(5);
  int refusals = 0;
  for (int round = 0; round < 3000; ++round) {
    std::string damaged = whole;
    for (auto change = random() % 4 + 1; change > 0; --change) {
      damaged[random() % (round % 2 == 0 ? 120 : damaged.size())] = static_cast<char>(random());
    }
    if (!used(damaged)) ++refusals;
  }
  EXPECT_GT(refusals, 1000);
}

}  // namespace
}  // namespace pellam
