#pragma once

#include <memory>

namespace cppmicroservices {

namespace detail {
struct ListenerSlot;
}

// Identifies a listener added to a bundle context, for its removal.
class ListenerToken {
  public:
    ListenerToken() = default;
    explicit ListenerToken(std::shared_ptr<detail::ListenerSlot> slot) : slot_(std::move(slot)) {}
    ListenerToken(ListenerToken&&) noexcept = default;
    ListenerToken& operator=(ListenerToken&&) noexcept = default;
    ListenerToken(const ListenerToken&) = delete;
    ListenerToken& operator=(const ListenerToken&) = delete;

    explicit operator bool() const noexcept { return slot_ != nullptr; }
    const std::shared_ptr<detail::ListenerSlot>& slot() const noexcept { return slot_; }

  private:
    std::shared_ptr<detail::ListenerSlot> slot_;
};

}  // namespace cppmicroservices
