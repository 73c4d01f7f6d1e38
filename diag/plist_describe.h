// Developer aid: property-list values printed to standard error in a
// bracketed form, optionally with retain counts. Every line starts with the
// caller's prefix.
#pragma once

#include <cstdint>

#include "plist/value.h"

namespace cx {

// Dispatches by type; null and unknown types get a form of their own.
void CXCFDescribe(const plist::Value* value, uint8_t verbose, const char* prefix);
void CXCFDescribeDictionary(const plist::Dictionary& dict, uint8_t verbose, const char* prefix);
void CXCFDescribeArray(const plist::Array& array, uint8_t verbose, const char* prefix);
void CXCFDescribeString(const plist::String& string, uint8_t verbose, const char* prefix);
void CXCFDescribeBoolean(const plist::Boolean& boolean, uint8_t verbose, const char* prefix);
void CXCFDescribeNumber(const plist::Number& number, uint8_t verbose, const char* prefix);

// The title (if any) described plainly on a line of its own, then the value
// indented by two spaces and a newline.
void CXCFShow(const plist::Value* value, const plist::Value* title, uint8_t verbose);

}  // namespace cx
