#pragma once

#include <systemd/sd-bus.h>

#include "pellam/property_list_value.h"

namespace pellam {

// Dictionaries on the bus: `a{sv}`, keys in dictionary order, with the value types b, x, u, t, d and s.

enum class IllFormedText { refuse, repair };

// Appends the dictionary. A value that the wire has no type for goes out as an empty `av`. The result is
// negative (an errno) for text that is not UTF-8 or holds a zero byte, unless it is to be repaired.
[[nodiscard]] int appendDictionary(sd_bus_message* message, const PropertyListDictionary& dictionary,
                                   IllFormedText illFormedText);

// Reads the dictionary at the message's position. Of repeated keys the last one counts. A value of another
// type becomes a dictionary that names its signature, which no reader takes for anything else. Negative for a
// message that holds no `a{sv}` there; the dictionary is then unchanged.
[[nodiscard]] int readDictionary(sd_bus_message* message, PropertyListDictionary& dictionary);

}  // namespace pellam
