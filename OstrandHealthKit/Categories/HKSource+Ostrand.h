#pragma once

// HKSource(Ostrand): the names records give the app or device that wrote a sample. A device's
// own name ("John's iPhone", "My Apple Watch") is reduced to its kind ("iPhone", "Apple Watch",
// "iPod touch"), so records do not carry a person's device names and sources of one kind look
// alike; and a source can be recognised as the device the application runs on.
//
// Free functions in place of the methods HealthKit's class cannot take. Thread-safe: they read
// nothing but their arguments and UIDevice.
//
//   sanitizedNameForSourceName("John's iPhone");  // "iPhone"
//   sanitizedName(*sample->source());             // the same for a source's name

#include <string>
#include <string_view>

#include "HealthKit/HKSource.h"

// The canonical name of the first kind whose pattern occurs anywhere in `name`, ignoring letter
// case: "iPhone" for /iPhone/, "Apple Watch" for /Apple.+Watch/, "iPod touch" for /iPod.+touch/,
// tried in that order (a name holding both "iPhone" and "Apple Watch" is an iPhone); as in a
// regular expression, "." matches no line break. Any other name is returned unchanged; so is
// "AppleWatch", since the patterns need at least one character between the two words.
std::string sanitizedNameForSourceName(std::string_view name);

// sanitizedNameForSourceName of the source's name.
std::string sanitizedName(const HKSource& source);

// Whether the source's name equals the name of the device the application runs on
// (UIDevice::currentDevice()->name()), exactly and case-sensitively.
bool isCurrentDevice(const HKSource& source);
