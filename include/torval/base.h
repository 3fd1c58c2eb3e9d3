// The component model: result codes, identifiers, and the root of all interfaces.
//
// An object is used through interfaces. Each interface is a class of pure virtual functions and
// begins with IUnknown, so that any of an object's interfaces can be asked for any other. References
// are counted: whoever keeps a pointer takes a reference, and whoever drops it releases it; the
// last release destroys the object. A pointer that a call hands out carries a reference for the
// caller; one that is passed to a call is only lent for the duration of the call.
//
// Identifiers are 16 bytes and fixed: an interface under the same identifier never changes.
//
// Errors   an HRESULT is negative for a failure. 0 is success, 1 a negative or empty answer, and the
//          engine's own refusals are small positive numbers (listed in codes.h).
// Thread   an object belongs to the thread (the apartment) that created it, see apartment.h. Its
//          reference count may be changed on any thread.
#pragma once

#include <cstdint>

/// Marks the functions of these headers: all that the shared library exports.
#define TORVAL_API __attribute__((visibility("default")))

namespace torval {

using HRESULT = std::int32_t;

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);
inline constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFF);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000E);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057);
inline constexpr HRESULT STG_E_INVALIDFUNCTION = static_cast<HRESULT>(0x80030001);
inline constexpr HRESULT STG_E_READFAULT = static_cast<HRESULT>(0x8003001E);
inline constexpr HRESULT STG_E_WRITEFAULT = static_cast<HRESULT>(0x8003001D);
inline constexpr HRESULT STG_E_MEDIUMFULL = static_cast<HRESULT>(0x80030070);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = static_cast<HRESULT>(0x80040110);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154);
inline constexpr HRESULT CO_E_NOTINITIALIZED = static_cast<HRESULT>(0x800401F0);
inline constexpr HRESULT RPC_E_DISCONNECTED = static_cast<HRESULT>(0x80010108);
inline constexpr HRESULT RPC_E_WRONG_THREAD = static_cast<HRESULT>(0x8001010E);

constexpr bool Succeeded(HRESULT result) { return result >= 0; }
constexpr bool Failed(HRESULT result) { return result < 0; }

struct GUID {
    std::uint32_t data1;
    std::uint16_t data2;
    std::uint16_t data3;
    std::uint8_t data4[8];

    bool operator==(const GUID&) const = default;
};
static_assert(sizeof(GUID) == 16);

class IUnknown {
public:
    /// The object's interface of this identifier, with a reference for the caller.
    /// E_NOINTERFACE: it has none, *object is null. E_POINTER: object is null.
    virtual HRESULT QueryInterface(const GUID& iid, void** object) = 0;
    /// Both return the new count, for diagnosis only.
    virtual std::uint32_t AddRef() = 0;
    virtual std::uint32_t Release() = 0;

protected:
    ~IUnknown() = default;
};

/// Keeps one reference to an object. Empty by default.
template <typename Interface>
class Ref {
public:
    Ref() = default;
    /// Takes a reference of its own.
    explicit Ref(Interface* pointer) : pointer_(pointer) {
        if (pointer_) pointer_->AddRef();
    }
    Ref(const Ref& other) : Ref(other.pointer_) {}
    Ref(Ref&& other) noexcept : pointer_(other.Detach()) {}
    ~Ref() { Reset(); }
    Ref& operator=(Ref other) noexcept {
        Interface* const mine = pointer_;
        pointer_ = other.pointer_;
        other.pointer_ = mine;
        return *this;
    }

    Interface* operator->() const { return pointer_; }
    Interface* Get() const { return pointer_; }
    explicit operator bool() const { return pointer_ != nullptr; }

    /// Releases the reference.
    void Reset() {
        if (Interface* const old = Detach()) old->Release();
    }
    /// Hands the reference over to the caller.
    Interface* Detach() {
        Interface* const old = pointer_;
        pointer_ = nullptr;
        return old;
    }
    /// Where a call puts a pointer that carries a reference; releases the old one first.
    Interface** Receive() {
        Reset();
        return &pointer_;
    }
    /// The same for QueryInterface and its like.
    void** ReceiveVoid() { return reinterpret_cast<void**>(Receive()); }

private:
    Interface* pointer_ = nullptr;
};

}  // namespace torval
