#pragma once

#include <memory>

#include "platform/dialogs.hpp"
#include "platform/run_loop.hpp"

namespace quillon {

/// Modal alerts, each shown from an action of the run loop: whoever asks goes on at once, and timers and
/// posted work go on inside the alert.
class MacDialogs : public Dialogs {
  public:
    explicit MacDialogs(RunLoop& loop);
    ~MacDialogs() override;
    MacDialogs(const MacDialogs&) = delete;
    MacDialogs& operator=(const MacDialogs&) = delete;

    void ask(const TextQuestion& question,
             std::function<void(std::optional<std::string> text)> answer) override;
    void tell(const Message& message) override;

    /// The application ends: an open alert answers nobody, and none opens from now on. Whoever ends the loops
    /// of events closes it.
    void close();

  private:
    class Alerts;

    RunLoop& loop_;
    const std::shared_ptr<Alerts> alerts_;
};

}  // namespace quillon
