// What a phone holds, thing by thing: the key says what, as "item 37", "property ro.build.type" or
// "file /proc/cmdline".
#pragma once

#include <map>
#include <string>

#include "virtual_phone/core/phone.h"

namespace simulation {

using State = std::map<std::string, std::string>;

/// Everything that outlives a command. A temporary file is its directory's "temporary", since no
/// two have the same name. Throws virtual_phone::Error.
State look(virtual_phone::Phone& phone);

std::string item_key(int number);
std::string property_key(const std::string& name);
std::string modem_key(const std::string& name);
std::string file_key(const std::string& path);

/// The value; empty where there is none.
std::string value_in(const State& state, const std::string& key);
/// A value in one line: text, with \n for its line ends, or hex:BYTES.
std::string shown_value(const std::string& value);

/// An empty item is none.
void set_item(State& state, int number, const std::string& bytes);

}  // namespace simulation
