// Developer aid: property-list values printed to standard error as an
// aligned listing of retain counts, keys, type labels and values.
#pragma once

#include "plist/value.h"

namespace cx {

// Shows the pair at depth 0 with a key column as wide as the widest key.
void CXCFKeyShow(const plist::Value* key, const plist::Value* value);
// "(key/value retain counts)", indentation, key padded to width + 4, value.
void CXCFKeyShowObject(const plist::Value* key, int width, const plist::Value* value, int depth);
// A 10-character type label, then the value; containers list their entries
// one level deeper.
void CXCFShowObject(const plist::Value* value, int width, int depth);
void CXCFShowDictionary(const plist::Dictionary& dict, int width, int depth);
void CXCFShowArray(const plist::Array& array, int width, int depth);
// Returns the number of characters printed.
int CXCFShowString(const plist::Value* string);
void CXCFShowBoolean(const plist::Boolean& boolean);
void CXCFShowNumber(const plist::Number& number);

// Length of the string's C-string form; 0 if not a string or unconvertible.
int CXCFGetStringLength(const plist::Value* string);
// Widest key column: the key's length plus two per level, or wider keys
// nested in a container value (an array's keys are its 1-based positions).
int CXCFGetMaxKeyLength(const plist::Value* key, const plist::Value* value, int depth);
int CXCFGetMaxKeyLengthFromDictionary(const plist::Dictionary& dict, int depth);
int CXCFGetMaxKeyLengthFromArray(const plist::Array& array, int depth);

}  // namespace cx
