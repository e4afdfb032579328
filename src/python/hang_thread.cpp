#include "python/hang_thread.h"

#include <unistd.h>

namespace python {

void hang_thread() noexcept {
  while (true) pause();
}

}  // namespace python
