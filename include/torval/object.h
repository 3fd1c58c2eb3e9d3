// An object with interfaces: its reference count, and how it is queried for them. The engine's
// objects are built on it, and a host's may be too, such as its IChessEngineSite.
//
// A class T derives from Object<T, Interfaces...> and has a public
//
//     void* FindInterface(const GUID& iid);
//
// that returns the interface with this identifier, converted to that interface's class, or null
// when there is none. For IID_IUnknown it always returns the same one. Objects are made with
// MakeObject and destroyed with their last reference.
//
// Thread   the count is atomic; everything else is up to the implementation.
#pragma once

#include <atomic>
#include <cstdint>
#include <new>
#include <utility>

#include "torval/base.h"

namespace torval {

namespace for_tests {
/// Objects alive in the process, to look for leaks.
inline std::atomic<int> live_objects = 0;
}  // namespace for_tests

template <typename Derived, typename... Interfaces>
class Object : public Interfaces... {
public:
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    HRESULT QueryInterface(const GUID& iid, void** object) override {
        if (!object) return E_POINTER;
        *object = static_cast<Derived*>(this)->FindInterface(iid);
        if (!*object) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    std::uint32_t AddRef() override { return references_.fetch_add(1) + 1; }
    std::uint32_t Release() override {
        const std::uint32_t left = references_.fetch_sub(1) - 1;
        if (left == 0) delete static_cast<Derived*>(this);
        return left;
    }

protected:
    Object() { for_tests::live_objects.fetch_add(1); }
    virtual ~Object() { for_tests::live_objects.fetch_sub(1); }

private:
    std::atomic<std::uint32_t> references_ = 1;
};

/// A new object with one reference, null when there is no memory.
template <typename T, typename... Arguments>
T* MakeObject(Arguments&&... arguments) {
    return new (std::nothrow) T(std::forward<Arguments>(arguments)...);
}

}  // namespace torval
