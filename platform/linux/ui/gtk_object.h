#pragma once

#include <gtk/gtk.h>

#include <exception>
#include <string>
#include <utility>

namespace pellam {

// A counted reference to a GObject. A floating object stays floating: whoever takes it in owns it.
template <typename T>
class ObjectReference {
 public:
  ObjectReference() = default;
  explicit ObjectReference(T* object) : object_(object) {
    if (object_ != nullptr) g_object_ref(object_);
  }
  // For an object that was returned with a reference for the caller.
  [[nodiscard]] static ObjectReference adopt(T* object) {
    ObjectReference reference;
    reference.object_ = object;
    return reference;
  }
  ObjectReference(const ObjectReference& other) : ObjectReference(other.object_) {}
  ObjectReference(ObjectReference&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  ObjectReference& operator=(ObjectReference other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~ObjectReference() {
    if (object_ != nullptr) g_object_unref(object_);
  }

  [[nodiscard]] T* get() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }

 private:
  T* object_ = nullptr;
};

// Keeps a C++ value with an object, for as long as the object lives.
template <typename T>
T& attachValue(gpointer object, const char* key, T value) {
  auto* stored = new T(std::move(value));
  g_object_set_data_full(G_OBJECT(object), key, stored, [](gpointer data) { delete static_cast<T*>(data); });
  return *stored;
}

template <typename T>
[[nodiscard]] T* attachedValue(gpointer object, const char* key) {
  return static_cast<T*>(g_object_get_data(G_OBJECT(object), key));
}

// Runs what C code has called back: an exception must not unwind through its frames, and there is nobody who
// could handle it. It is logged.
template <typename Work>
void runGuarded(const Work& work) noexcept {
  try {
    work();
  } catch (const std::exception& error) {
    g_warning("an event handler failed: %s", error.what());
  } catch (...) {
    g_warning("an event handler failed");
  }
}

// The toolkit takes well-formed UTF-8 without NUL only; what is neither is replaced by U+FFFD.
[[nodiscard]] std::string displayableText(const std::string& text);
// The same on one line: line breaks and tabs become spaces.
[[nodiscard]] std::string displayableLine(const std::string& text);

}  // namespace pellam
