#include "app/wait.hpp"

namespace quillon {

void waitFor(RunLoop& loop, Duration interval) {
    const auto end = loop.addTimer(interval, RunLoop::Repeat::once, [&loop] { loop.stop(); });
    loop.run();
}

}  // namespace quillon
