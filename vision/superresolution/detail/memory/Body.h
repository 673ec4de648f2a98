#ifndef ORAVO_VISION_DETAIL_MEMORY_BODY_H
#define ORAVO_VISION_DETAIL_MEMORY_BODY_H

#include <memory>
#include <utility>

namespace oravo::vision::detail {

/// The hidden state of a public class, held by value: a copy of the handle is a copy of the state, member by
/// member. State may be incomplete wherever the handle is copied or destroyed, so public headers stay free of
/// what they hide and their classes need no copy operations or destructors of their own.
template <class State>
class Body {
  public:
    template <class... Arguments>
    static Body make(Arguments&&... arguments) {
        return Body(std::make_shared<State>(std::forward<Arguments>(arguments)...),
                    [](const State& source) { return std::make_shared<State>(source); });
    }

    // No move operations: a moved-from handle would hold nothing, so moving copies.
    Body(const Body& other) : state_(other.copy_(*other.state_)), copy_(other.copy_) {}
    Body& operator=(const Body& other) {
        state_ = other.copy_(*other.state_);
        return *this;
    }
    ~Body() = default;

    State* operator->() { return state_.get(); }
    const State* operator->() const { return state_.get(); }
    State& operator*() { return *state_; }
    const State& operator*() const { return *state_; }

  private:
    using Copy = std::shared_ptr<State> (*)(const State&);

    Body(std::shared_ptr<State> state, Copy copy) : state_(std::move(state)), copy_(copy) {}

    std::shared_ptr<State> state_;
    Copy copy_;
};

}  // namespace oravo::vision::detail

#endif
