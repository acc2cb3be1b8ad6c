// Writes the tables with which names of the zone database become Windows' ids and back where there is no ICU:
//
//     g++ -std=c++20 cmake/windows/make-zone-tables.cpp -licuuc -licui18n -o /tmp/make-zone-tables &&
//     /tmp/make-zone-tables platform/os/win

#include <unicode/ucal.h>
#include <unicode/uenum.h>
#include <unicode/unistr.h>
#include <unicode/uregion.h>

#include <fstream>
#include <iostream>
#include <map>
#include <set>
#include <string>

namespace {

std::string Text(const icu::UnicodeString& text) {
  std::string utf8;
  text.toUTF8String(utf8);
  return utf8;
}

std::string IanaOf(const std::string& windowsId, const std::string& region) {
  UErrorCode error = U_ZERO_ERROR;
  char16_t name[128];
  const icu::UnicodeString id = icu::UnicodeString::fromUTF8(windowsId);
  const int length = ucal_getTimeZoneIDForWindowsID(id.getBuffer(), id.length(), region.c_str(), name, 128, &error);
  return U_SUCCESS(error) ? Text({name, length}) : std::string();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: make-zone-tables FOLDER\n";
    return 2;
  }
  const std::string folder = argv[1];
  const std::string origin =
      "// Written by cmake/windows/make-zone-tables.cpp from ICU " U_ICU_VERSION " (Unicode CLDR).\n";
  UErrorCode error = U_ZERO_ERROR;
  int length = 0;
  std::map<std::string, std::string> names;
  std::set<std::string> ids;
  UEnumeration* zones = ucal_openTimeZones(&error);
  while (const char16_t* name = uenum_unext(zones, &length, &error)) {
    UErrorCode unknown = U_ZERO_ERROR;
    char16_t id[128];
    const int idLength = ucal_getWindowsTimeZoneID(name, length, id, 128, &unknown);
    if (U_FAILURE(unknown) || idLength == 0) continue;
    names[Text({name, length})] = Text({id, idLength});
    ids.insert(Text({id, idLength}));
  }
  uenum_close(zones);
  std::set<std::string> regions{"ZZ"};  // the zones at sea
  UEnumeration* territories = uregion_getAvailable(URGN_TERRITORY, &error);
  while (const char* region = uenum_next(territories, &length, &error)) regions.insert(region);
  uenum_close(territories);

  std::ofstream nameTable(folder + "/uVqZoneNames.inc");
  nameTable << origin << "// VQ_ZONE(name, Windows' id), in the order of the names' bytes\n";
  for (const auto& [name, id] : names) nameTable << "VQ_ZONE(\"" << name << "\", \"" << id << "\")\n";
  std::ofstream regionTable(folder + "/uVqZoneRegions.inc");
  regionTable
      << origin
      << "// VQ_ZONE_OF_REGION(Windows' id, region, name), the world (001) before the regions that differ from it\n";
  for (const std::string& id : ids) {
    const std::string world = IanaOf(id, "001");
    regionTable << "VQ_ZONE_OF_REGION(\"" << id << "\", \"001\", \"" << world << "\")\n";
    for (const std::string& region : regions) {
      const std::string name = IanaOf(id, region);
      if (name.empty() || name == world) continue;
      regionTable << "VQ_ZONE_OF_REGION(\"" << id << "\", \"" << region << "\", \"" << name << "\")\n";
    }
  }
  return U_SUCCESS(error) && nameTable.flush() && regionTable.flush() ? 0 : 1;
}
