#include "host/objc/programming_error.h"

#include "platform/programming_error.h"

namespace platform {

void programmingError(const std::string& mistake) { throw host::ProgrammingError(mistake); }

}  // namespace platform
