// Method error reports: the one way for a class built on the library to
// reject a call from inside one of its methods.
//
// Each report writes two lines, first on the log channel (after the line
// prefix) and then on the error channel (after "Error: "):
//
//   Example: ERROR! Bad value '7' in method 'Example::open()' context [mode].
//   Error: Bad value '7' in method 'Example::open()' context [mode].
//
// and then sets errno to the number that tells the kind of fault (EINVAL for
// ErrorBadValue). The report never fails and returns nothing; a write to a
// failed stream is lost. Integers print in decimal whatever the stream's
// number base, pointers as an output stream prints a const void*, texts as
// they are. A null class name, method name, context or text value prints as
// "nil". The reports keep no state and may be called from any thread; errno
// is the calling thread's.
//
// Arguments always come in the order: class name, the values of the report
// (if any), method name, context.

#ifndef QZ_BASE_ERROR_ERROR_REPORT_H_
#define QZ_BASE_ERROR_ERROR_REPORT_H_

// "Bad value '<value>' in method '<class>::<method>()' context [<context>]."
// errno EINVAL. A null pointer literal is ambiguous here: cast it to the
// overload meant.
void ErrorBadValue(const char* class_name, int value, const char* method,
                   const char* context);
void ErrorBadValue(const char* class_name, const void* value,
                   const char* method, const char* context);
void ErrorBadValue(const char* class_name, const char* value,
                   const char* method, const char* context);

// "Bad value '<value>' for type '<type>' in method ..." errno EINVAL. The
// type comes first among the arguments, the value first in the line.
void ErrorBadValueForType(const char* class_name, int type, int value,
                          const char* method, const char* context);

// "Bad pointer '<pointer>' in method ..." errno EINVAL.
void ErrorBadPointer(const char* class_name, const void* pointer,
                     const char* method, const char* context);

// "Operation not permitted in method ..." errno EPERM.
void ErrorOperationNotPermitted(const char* class_name, const char* method,
                                const char* context);

// "Not implemented in method '<class>::<method>()' context [<context>]."
// and, with a value, "... context [<context>] value '<value>'."
// errno ENOSYS.
void ErrorNotImplemented(const char* class_name, const char* method,
                         const char* context);
void ErrorNotImplemented(const char* class_name, int value, const char* method,
                         const char* context);
void ErrorNotImplemented(const char* class_name, const void* value,
                         const char* method, const char* context);

// "Memory allocation failed in method ..." errno ENOMEM.
void ErrorMemoryAllocation(const char* class_name, const char* method,
                           const char* context);

// "Invalid state for object in method ..." errno EACCES.
void ErrorInvalidState(const char* class_name, const char* method,
                       const char* context);

// "Bad descriptor state in method ..." errno EBADF.
void ErrorBadDescriptorState(const char* class_name, const char* method,
                             const char* context);

// "Buffer not found in method ..." errno ENXIO.
void ErrorBufferNotFound(const char* class_name, const char* method,
                         const char* context);

// "Invalid buffer owner in method ..." errno EDEADLK.
void ErrorInvalidBufferOwner(const char* class_name, const char* method,
                             const char* context);

// "Bad event '<event>' in method ..." errno EBADE.
void ErrorBadEvent(const char* class_name, const char* event,
                   const char* method, const char* context);

// "Invalid operation for type '<type>' in method ..." errno ENOTSUP.
void ErrorInvalidOperationForType(const char* class_name, const char* type,
                                  const char* method, const char* context);

// "Invalid operation for proto '<proto>' in method ..." errno EPROTO.
void ErrorInvalidOperationForProto(const char* class_name, const char* proto,
                                   const char* method, const char* context);

#endif  // QZ_BASE_ERROR_ERROR_REPORT_H_
