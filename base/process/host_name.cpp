#include "base/process/host_name.h"

#include <cstdlib>
#include <cstring>

const char* ProcessHostName() {
  const char* value = getenv("HOSTNAME");
  return value != nullptr ? value : ProcessDefaultHostName();
}

const char* ProcessDefaultHostName() { return "localhost"; }

int ProcessIsLocalHost(const char* name) {
  return strcmp(name, "localhost") == 0 ||
                 strcmp(name, "localhost.localdomain") == 0 ||
                 strcmp(name, "127.0.0.1") == 0
             ? 1
             : 0;
}
