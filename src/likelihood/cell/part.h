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
    return view().as<T>();
  }

  /// The object of a part that lives on, at the price of one look.
  class View {
   public:
    View() = default;
    template <class T>
    T& as() const {
      assert(type_ == type_of<T>());
      return *static_cast<T*>(object_);
    }

   private:
    friend class Part;
    void* object_ = nullptr;
    const void* type_ = nullptr;
  };
  View view() const {
    View seen;
    seen.object_ = object_.get();
    seen.type_ = type_;
    return seen;
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
