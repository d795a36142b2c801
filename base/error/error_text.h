// Texts and symbolic names of error numbers.
//
// These are the lowest layer of the library's error reporting. None of them
// changes errno, writes anything or fails; the returned texts are never owned
// by the caller (a constant of the library or the platform's own text, which a
// later strerror call may reuse: print it at once, do not keep the pointer).

#ifndef QZ_BASE_ERROR_ERROR_TEXT_H_
#define QZ_BASE_ERROR_ERROR_TEXT_H_

// "No error" for 0, otherwise the platform's text for the number (negative
// numbers included).
const char* ErrorString(int code);

// ErrorString of the calling thread's errno, read once.
const char* LastErrorString();

// The symbolic name ("EPERM", "ECONNRESET", ...) of an error number, "Success"
// for 0 and "Unknown" for a number the library's table does not hold.
const char* ErrorName(int code);

// ErrorName of the calling thread's errno, read once.
const char* LastErrorName();

#endif  // QZ_BASE_ERROR_ERROR_TEXT_H_
