// Reading of ASN.1 GeneralizedTime text by fixed positions.
#ifndef HALDEN_BASE_GENERALIZED_TIME_H
#define HALDEN_BASE_GENERALIZED_TIME_H

#include <ctime>
#include <string>

// Reads YYYYMMDDHHMMSS by position; a field beyond the text's end is 0. From
// 16 characters on, the text from position 15 is a fraction of up to six
// digits with an optional "Z" (position 14 is not looked at) and goes to
// *microseconds (which may be null). Unless isSpan is set the year is
// stored less 1900 and the month less 1, as in a tm. Field ranges and time
// zones are not checked: the text is taken as UTC. A non-digit in a field
// throws ATL::CAtlException 0x8007076D.
std::tm GeneralizedTimeToTm(const std::string& text, unsigned int* microseconds, bool isSpan);

#endif
