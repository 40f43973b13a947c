// Conversions between numbers and their text forms, and small text helpers, shared by every kit.
// Parameter values are mpf_class numbers; configuration and EEPROM files hold them as decimal or
// hexadecimal text, so these functions decide how a value is written and read back. Failures are
// cGenericException from source "BaseKit/Conversions".
#pragma once

#include <gmpxx.h>
#include <string>

// Writes v in fixed notation with exactly `decimals` digits after the point (a negative count
// means 0, and no point is written then). The binary value of v is rounded exactly, half away
// from zero; "-" appears only when the rounded result is not zero. Never uses an exponent.
void doubleToString(std::string& out, mpf_class const& v, int decimals);

// Reads one whole number in `base` (2..36). Base 10 accepts a sign, decimals and an exponent
// ("-2.5", "+1e-3"); surrounding blanks are ignored. Anything else, including an exponent of more
// than nine digits (which GMP cannot hold), throws cGenericException "Invalid number: \"<s>\"" and
// leaves out untouched; a base outside 2..36 throws "Invalid number base: <base>".
// The limit is kept for the callers' sake and is never applied: they pass the raw maximum while
// the text may hold a converted value, and apply their own limits afterwards.
void stringToMpf(std::string const& s, mpf_class& out, int base, mpf_class const& limit);

// stringToMpf in base 10 without a limit, giving the value.
mpf_class convertStringToDouble(std::string const& s);

// Hexadecimal digits, without prefix, of the whole number v (a fraction is truncated toward
// zero), zero-padded to 2 x width digits. width is in bytes (1, 2, 4, 8); a negative number is
// written in two's complement of that width. Width 0 picks the smallest of 1, 2, 4, 8 bytes that
// holds the value (signed range for a negative value, unsigned range otherwise). A value too
// large for the width widens to the next of 1, 2, 4, 8, 16, 32 ... bytes that holds it, a positive
// one with its top bit clear so that a signed reader gives it back: nothing is truncated.
// upperCase selects the digits A-F, otherwise a-f.
void mpfToHex(std::string& out, mpf_class const& v, unsigned char width, bool upperCase);

// Reads hexadecimal digits (an optional "0x"/"0X" prefix, either case of digits).
// Signed (isUnsigned false): the top bit of 8 x width bits marks a negative number in two's
// complement; more digits than 2 x width widen the width as mpfToHex does, so what mpfToHex wrote
// for that width reads back to the same value (a positive number in the upper half of the width
// itself, such as "C8" for 200 in one byte, needs isUnsigned). Width 0 never sign-extends.
// Unsigned: the bit pattern as is, in a long long (callers cast to unsigned long long).
// Empty text, a character that is not a hex digit, or more than 16 significant digits throw
// cGenericException "Invalid hexadecimal number: \"<digits>\"".
// minimum and maximum are kept for the callers' sake; the result is not clamped to them.
long long readHexadecimalNumber(std::string const& digits, unsigned char width, bool isUnsigned,
                                mpf_class const& minimum, mpf_class const& maximum);

// Whole-number parts, truncated toward zero; values out of range saturate at the type's limits
// (a negative value gives 0 for the unsigned form).
long long mpfToLongLong(mpf_class const& v);
unsigned long long mpfToUnsignedLongLong(mpf_class const& v);

// A number for messages and reports: up to 17 significant digits ("%.17Fg"), which shows every
// double exactly and switches to an exponent for very large or small values.
std::string numberToText(mpf_class const& v);

// Decimal text of an int.
std::string convertIntToString(int value);
// "0x" and 16 upper-case hex digits, for traces.
std::string addressToString(void const* address);

// True only when the whole of s is one finite decimal number: no blanks, no "nan"/"inf", no hex
// floating form, not empty, no overflow. out is written only on success.
bool strtodStrict(std::string const& s, double& out);

// Removes the characters of `chars` from both ends of s; with trimBlanks also blanks, tabs, CR, LF.
void TrimLeftAndRight(std::string& s, std::string const& chars, bool trimBlanks);
// Removes blanks, tabs, CR and LF from both ends of s.
void trimSpaceLR(std::string& s);
// ASCII lower case, in place.
void toLower(std::string& s);

// The text after the last '.' of the last path component, without the dot; "" when there is none.
std::string GetExtension(char const* path);
// The file name without its directory; both '/' and '\\' separate.
std::string getShortName(std::string const& path);
// False for a path that names its root: "/..." or "\\..." (also a network path) or a drive "C:...";
// true otherwise, the empty path included. Relative paths are joined to a directory by the callers.
bool PathIsRelativeA(char const* path);

// The key "User Rights" of a parameter: 0 "Guest", 1 "User" (the default), 2 "Expert",
// 3 "Administrator". A number outside the table is written as its decimal text so it reads back.
std::string getUserRightsFromInt(int rights);
// Case-insensitive, blanks around ignored; a decimal number is accepted as is. Any other text
// throws cGenericException "Unknown user rights: \"<text>\"".
int getUserRightsFromString(std::string const& text);
