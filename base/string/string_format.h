// Time of day, calendar time and IPv4 addresses as text.
//
// The buffer forms write into the caller's buffer, which must be large enough,
// and return it. The slot forms free the slot's old string and store a new
// array of the size given below. None of them fails or touches errno.

#ifndef QZ_BASE_STRING_STRING_FORMAT_H_
#define QZ_BASE_STRING_STRING_FORMAT_H_

#include <sys/time.h>

#include <cstdint>
#include <ctime>

// Local time as "HH:MM:SS mmm.uuu": hours, minutes, seconds, a blank and the
// milliseconds within the second with three decimals, zero-padded to seven
// characters. The buffer holds at least 17 characters. No heap allocation.
char* TimeFormat(char* buffer, const struct timeval* time);

// TimeFormat into a new array of 17 characters.
void StringSetTime(char** slot, const struct timeval* time);

// ctime_r of the time without its line end: 24 characters. The buffer holds
// at least 26 characters. A time ctime_r refuses (a year past 9999) gives the
// empty string.
char* StringFormatCtime(char* buffer, const time_t* time);

// StringFormatCtime into a new array of 26 characters.
void StringSetCtime(char** slot, const time_t* time);

// The four bytes of the value as "%d.%d.%d.%d", lowest byte first, which on
// this little-endian host prints an in_addr in the usual dotted form. The
// buffer holds at least 16 characters.
char* StringFormatAddress(char* buffer, uint32_t address);

// StringFormatAddress into a new array of 16 characters.
void StringSetAddress(char** slot, uint32_t address);

#endif  // QZ_BASE_STRING_STRING_FORMAT_H_
