#include "base/error/error_report.h"

#include <cerrno>
#include <cstdio>
#include <ostream>

#include "base/log/log.h"
#include "base/log/logger.h"

namespace {

// One value quoted in a report: absent, an integer, a pointer or a text.
struct Value {
  enum class Kind { kNone, kInteger, kPointer, kText };

  Value() : kind(Kind::kNone) {}
  explicit Value(int value) : kind(Kind::kInteger), integer(value) {}
  explicit Value(const void* value) : kind(Kind::kPointer), pointer(value) {}
  explicit Value(const char* value) : kind(Kind::kText), text(value) {}

  Kind kind;
  int integer = 0;
  const void* pointer = nullptr;
  const char* text = nullptr;
};

// The words of one report: "<what> '<first>'<between> '<second>' in method
// ... context [...]" followed by " value '<trailing>'" when there is one.
struct Report {
  const char* what;
  Value first;
  const char* between;
  Value second;
  Value trailing;
};

const char* OrNil(const char* text) { return text != nullptr ? text : "nil"; }

void WriteValue(std::ostream& stream, const Value& value) {
  switch (value.kind) {
    case Value::Kind::kInteger: {
      // Decimal whatever number base the stream was left in.
      char digits[16];
      int length = snprintf(digits, sizeof(digits), "%d", value.integer);
      stream.write(digits, length);
      break;
    }
    case Value::Kind::kPointer:
      stream << value.pointer;
      break;
    case Value::Kind::kText:
      stream << OrNil(value.text);
      break;
    case Value::Kind::kNone:
      break;
  }
}

void WriteQuoted(std::ostream& stream, const Value& value) {
  stream << '\'';
  WriteValue(stream, value);
  stream << '\'';
}

// Everything of the line after "<class>: ERROR! " or "Error: ".
void WriteBody(std::ostream& stream, const char* class_name, const char* method,
               const char* context, const Report& report) {
  stream << report.what;
  if (report.first.kind != Value::Kind::kNone) {
    stream << ' ';
    WriteQuoted(stream, report.first);
  }
  if (report.second.kind != Value::Kind::kNone) {
    stream << report.between << ' ';
    WriteQuoted(stream, report.second);
  }
  stream << " in method '" << OrNil(class_name) << "::" << OrNil(method)
         << "()' context [" << OrNil(context) << ']';
  if (report.trailing.kind != Value::Kind::kNone) {
    stream << " value ";
    WriteQuoted(stream, report.trailing);
  }
  stream << ".\n";
}

// The two lines, then errno.
void Write(const char* class_name, const char* method, const char* context,
           const Report& report, int code) {
  std::ostream& log = Log();
  log << OrNil(class_name) << ": ERROR! ";
  WriteBody(log, class_name, method, context, report);
  WriteBody(LogError(), class_name, method, context, report);
  errno = code;
}

Report Plain(const char* what) { return Report{what, {}, nullptr, {}, {}}; }

template <typename T>
Report WithValue(const char* what, T value) {
  return Report{what, Value(value), nullptr, {}, {}};
}

}  // namespace

void ErrorBadValue(const char* class_name, int value, const char* method,
                   const char* context) {
  Write(class_name, method, context, WithValue("Bad value", value), EINVAL);
}

void ErrorBadValue(const char* class_name, const void* value,
                   const char* method, const char* context) {
  Write(class_name, method, context, WithValue("Bad value", value), EINVAL);
}

void ErrorBadValue(const char* class_name, const char* value,
                   const char* method, const char* context) {
  Write(class_name, method, context, WithValue("Bad value", value), EINVAL);
}

void ErrorBadValueForType(const char* class_name, int type, int value,
                          const char* method, const char* context) {
  Report report{"Bad value", Value(value), " for type", Value(type), {}};
  Write(class_name, method, context, report, EINVAL);
}

void ErrorBadPointer(const char* class_name, const void* pointer,
                     const char* method, const char* context) {
  Write(class_name, method, context, WithValue("Bad pointer", pointer), EINVAL);
}

void ErrorOperationNotPermitted(const char* class_name, const char* method,
                                const char* context) {
  Write(class_name, method, context, Plain("Operation not permitted"), EPERM);
}

void ErrorNotImplemented(const char* class_name, const char* method,
                         const char* context) {
  Write(class_name, method, context, Plain("Not implemented"), ENOSYS);
}

void ErrorNotImplemented(const char* class_name, int value, const char* method,
                         const char* context) {
  Report report{"Not implemented", {}, nullptr, {}, Value(value)};
  Write(class_name, method, context, report, ENOSYS);
}

void ErrorNotImplemented(const char* class_name, const void* value,
                         const char* method, const char* context) {
  Report report{"Not implemented", {}, nullptr, {}, Value(value)};
  Write(class_name, method, context, report, ENOSYS);
}

void ErrorMemoryAllocation(const char* class_name, const char* method,
                           const char* context) {
  Write(class_name, method, context, Plain("Memory allocation failed"), ENOMEM);
}

void ErrorInvalidState(const char* class_name, const char* method,
                       const char* context) {
  Write(class_name, method, context, Plain("Invalid state for object"), EACCES);
}

void ErrorBadDescriptorState(const char* class_name, const char* method,
                             const char* context) {
  Write(class_name, method, context, Plain("Bad descriptor state"), EBADF);
}

void ErrorBufferNotFound(const char* class_name, const char* method,
                         const char* context) {
  Write(class_name, method, context, Plain("Buffer not found"), ENXIO);
}

void ErrorInvalidBufferOwner(const char* class_name, const char* method,
                             const char* context) {
  Write(class_name, method, context, Plain("Invalid buffer owner"), EDEADLK);
}

void ErrorBadEvent(const char* class_name, const char* event,
                   const char* method, const char* context) {
  Write(class_name, method, context, WithValue("Bad event", event), EBADE);
}

void ErrorInvalidOperationForType(const char* class_name, const char* type,
                                  const char* method, const char* context) {
  Write(class_name, method, context,
        WithValue("Invalid operation for type", type), ENOTSUP);
}

void ErrorInvalidOperationForProto(const char* class_name, const char* proto,
                                   const char* method, const char* context) {
  Write(class_name, method, context,
        WithValue("Invalid operation for proto", proto), EPROTO);
}
