// Owned strings: the library's one string type.
//
// An owned string is a NUL-terminated array allocated with new[] and released
// with delete[]. A slot is a char* (local, global or field) that holds an
// owned string or null; null means "no string" and is distinct from the empty
// string. Operations that create or replace a string take the slot's address
// and free what the slot held before; whoever owns the slot frees it at last
// with StringReset.
//
// Unless an operation says otherwise, a source must not point into the slot's
// current string: that string is freed before the source would be read.
// Lengths are added as int; every string stays below 2^31 characters. Running
// out of memory throws std::bad_alloc from new[], which is not caught here.
// No operation here writes a message or touches errno.

#ifndef QZ_BASE_STRING_OWNED_STRING_H_
#define QZ_BASE_STRING_OWNED_STRING_H_

// Frees the slot's string and stores a copy of source (null for a null
// source). Nothing happens when the slot already holds exactly that pointer.
void StringSet(char** slot, const char* source);

// For a slot that holds nothing yet: sets it to null without freeing, then
// stores a copy of source when source is non-null.
void StringInit(char** slot, const char* source);

// Frees the slot's string and sets the slot to null; a null slot stays null.
void StringReset(char** slot);

// Replaces the slot's string by the old string (or nothing) followed by each
// non-null further string in order. When the total length is 0 nothing
// changes. Otherwise the slot always receives a new array, and a further
// string may point into the old one.
void StringAppend(char** slot, const char* a, const char* b = nullptr,
                  const char* c = nullptr, const char* d = nullptr);

// Appends count bytes as they are (NULs included) and a terminating NUL.
// A null bytes pointer or a count of 0 changes nothing.
void StringAppendBytes(char** slot, const char* bytes, int count);

// A new copy of source, or null for a null source. The caller owns it.
char* StringDuplicate(const char* source);

// Sets the slot to null without freeing; for a non-null source stores an
// array of n + 1 characters with at most the first n characters of source,
// padded with NUL.
void StringInitN(char** slot, const char* source, int n);

// What StringInitN would store, returned to the caller, who owns it.
char* StringDuplicateN(const char* source, int n);

// Stores a new array of size characters (size at least 1) holding the empty
// string, without freeing the old one, and returns it.
char* StringAllocate(char** slot, int size);

// Stores a new 1024-character array holding the empty string, without
// freeing the old one, and returns it.
char* StringNewBuffer(char** slot);

// StringNewBuffer, then copies at most 1023 characters of a non-null source.
void StringInitBuffer(char** slot, const char* source);

#endif  // QZ_BASE_STRING_OWNED_STRING_H_
