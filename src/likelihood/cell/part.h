#pragma once
// An object of a family's own type, handed on by code that does not know the type.

#include <cassert>
#include <memory>
#include <utility>

namespace tarn {

/// Owns one object; `as` gives it back under the type that it was made with.
class Part {
 public:
  Part() = default;
  template <class T, class... Arguments>
  static Part of(Arguments&&... arguments) {
    Part part;
    part.object_ = {new T(std::forward<Arguments>(arguments)...),
                    [](void* object) { delete static_cast<T*>(object); }};
    part.type_ = type_of<T>();
    return part;
  }

  template <class T>
  T& as() const {
    assert(type_ == type_of<T>());
    return *static_cast<T*>(object_.get());
  }

 private:
  template <class T>
  static const void* type_of() {
    static constexpr char mark = 0;
    return &mark;
  }

  std::unique_ptr<void, void (*)(void*)> object_{nullptr, [](void*) {}};
  const void* type_ = nullptr;
};

}  // namespace tarn
