#include "platform/linux/absent_services.hpp"

#include <thread>

namespace quillon {

namespace {

class NoSearch : public ServiceBrowser::Search {
  public:
    explicit NoSearch(ServiceBrowser::Callbacks callbacks) : callbacks_(std::move(callbacks)) {}

    void run(Duration slice) override {
        if (!told_) callbacks_.onNotSearching("this system offers no service discovery");
        told_ = true;
        std::this_thread::sleep_for(slice);
    }
    void resolve(const std::string&, Duration) override {}

  private:
    ServiceBrowser::Callbacks callbacks_;
    bool told_ = false;
};

}  // namespace

std::unique_ptr<ServiceBrowser::Search> NoServiceBrowser::search(const std::string&, const std::string&,
                                                                 Callbacks callbacks) {
    return std::make_unique<NoSearch>(std::move(callbacks));
}

}  // namespace quillon
