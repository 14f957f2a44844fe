#include "Platform/linux/LinuxRandomSource.h"

#include <errno.h>
#include <sys/random.h>

#include <cstdlib>

namespace rqb {

void LinuxRandomSource::Fill(std::span<std::uint8_t> bytes) {
  std::size_t filled = 0;
  while (filled < bytes.size()) {
    const ssize_t n = getrandom(bytes.data() + filled, bytes.size() - filled, 0);
    if (n < 0) {
      if (errno == EINTR) continue;
      // getrandom(2) blocks until the pool is ready and cannot otherwise fail
      // on the kernels we support; an identifier from a weaker source would
      // be worse than stopping.
      std::abort();
    }
    filled += static_cast<std::size_t>(n);
  }
}

}  // namespace rqb
