// Values as people at the plant know them: scaled, with unit and limits, enumerations by name. What the symbol file says of a
// tag's values (Tag::notes) is applied here and nowhere else; a session, the driver and the PLC know the values of
// value_codec.h. Pure functions.
#ifndef AC500_TOOLS_HOST_PLANT_VALUES_H
#define AC500_TOOLS_HOST_PLANT_VALUES_H

#include <optional>
#include <string>

#include "tools/host/tag.h"

namespace ac500::host {

// Scaled numbers as double, rounded to the decimals of the scale; everything else as it is.
HostValues plantValues(const Tag& tag, const HostValues& inPlc);

// The reverse, for writing: scaled numbers are given as double and rounded to the nearest that the PLC can hold, everything
// else is given in the form of value_codec.h. Nothing for a tag that is read-only, for values beyond its limits or its type,
// and for values of another kind; *error then says value and limit.
std::optional<HostValues> fromPlantValues(const Tag& tag, const HostValues& plant, std::string* error);

// Text to what the PLC is to get: as parseValues, and names of values in any case, scaled numbers, and the unit behind a
// number. Fails as fromPlantValues.
std::optional<HostValues> parsePlantValues(const Tag& tag, const std::string& text, std::string* error);

// The same for one value that is not written, in the form of plantValues: without limits, and of a read-only tag, too.
std::optional<HostValue> parsePlantValue(const Tag& tag, const std::string& text, std::string* error);

// Text to what the PLC holds already, for a comparison: as parsePlantValues, but of a read-only tag and beyond the limits, too.
std::optional<HostValues> parseHeldValues(const Tag& tag, const std::string& text, std::string* error);

// May these values, in the form of the PLC, be written, as far as read-only, number, type and limits go? Else *error says why
// not.
bool mayBeWritten(const Tag& tag, const HostValues& inPlc, std::string* error);

// The text form, which parsePlantValues takes back: "21.5 °C", "automatic", "T#1m30s", "1, 2, 3 bar".
std::string formatPlantValues(const Tag& tag, const HostValues& inPlc);

// Does formatPlantValues say more than formatValues?
bool hasPlantForm(const Tag& tag);

}  // namespace ac500::host

#endif
