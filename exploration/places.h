// What a phone holds, place by place.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "virtual_phone/core/phone.h"

namespace exploration {

/// By names as "item 9 serial_number", "property ro.build.type", "modem imei1", "nv 453",
/// "file /data/x": what is there, in bytes or in a few words. What is not there has no place.
using Places = std::map<std::string, std::string>;

/// All that a phone keeps, and how often it was switched off by its own hand. Left out is what is
/// another each time: the log that is copied into an archive, and the archive with it, count only
/// as there. Moments in names count as none.
Places places_of(virtual_phone::Phone& phone);

/// Names of the places in which two phones differ.
std::vector<std::string> differing(const Places& one, const Places& other);

/// In place of the value of what is not there.
constexpr char kNothing[] = "-";
/// The value of a place, or that.
std::string value_at(const Places& places, const std::string& name);

}  // namespace exploration
