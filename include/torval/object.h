// What every object of the engine is built on: a reference count and a list of interfaces.
//
// An implementation derives from Object<Interfaces...> and lists, in its kInterfaces, which
// identifier each interface answers to; the first listed interface is the object's identity, which
// IID_IUnknown gets. Objects are made with MakeObject and end with their last reference.
//
// Thread   the count is atomic; everything else is the implementation's affair.
#pragma once

#include <atomic>
#include <new>
#include <utility>

#include "torval/identifiers.h"

namespace torval {

/// Objects alive in the process; tests look for leaks with it.
inline std::atomic<int> live_objects = 0;

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
    Object() { live_objects.fetch_add(1); }
    virtual ~Object() { live_objects.fetch_sub(1); }

private:
    std::atomic<std::uint32_t> references_ = 1;
};

/// A new object with one reference, null when there is no memory.
template <typename T, typename... Arguments>
T* MakeObject(Arguments&&... arguments) {
    return new (std::nothrow) T(std::forward<Arguments>(arguments)...);
}

}  // namespace torval
