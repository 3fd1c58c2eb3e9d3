#include "torval/library.h"

#include <cstring>

#include "engine/chess_engine.h"
#include "pages/book_page.h"
#include "pages/engine_page.h"
#include "torval/object.h"

namespace torval {

namespace {

constexpr const char* kApartment = "Apartment";

constexpr ClassRegistration kClasses[] = {
    {CLSID_CChessEngine,
     "TORVAL.Engine.1",
     "TORVAL.Engine",
     "Quorvale standard Chess Engine",
     kApartment,
     &CATID_ChessEngine},
    {CLSID_EngineSettings, nullptr, nullptr, "General settings page", kApartment, nullptr},
    {CLSID_BookSettings, nullptr, nullptr, "Opening book settings page", kApartment, nullptr},
};

/// A new object, asked for an interface; it ends again when it has none of that kind.
template <typename Class>
HRESULT Make(const GUID& iid, void** object) {
    auto* const made = MakeObject<Class>();
    if (!made) return E_OUTOFMEMORY;
    const HRESULT result = made->QueryInterface(iid, object);
    made->Release();
    return result;
}

HRESULT MakeOfClass(const GUID& class_id, const GUID& iid, void** object) {
    if (class_id == CLSID_CChessEngine) return Make<CChessEngine>(iid, object);
    if (class_id == CLSID_EngineSettings) return Make<EnginePage>(iid, object);
    if (class_id == CLSID_BookSettings) return Make<BookPage>(iid, object);
    return REGDB_E_CLASSNOTREG;
}

class ClassFactory final : public Object<ClassFactory, IClassFactory> {
public:
    explicit ClassFactory(const GUID& class_id) : class_id_(class_id) {}

    void* FindInterface(const GUID& iid) {
        const bool known = iid == IID_IUnknown || iid == IID_IClassFactory;
        return known ? static_cast<IClassFactory*>(this) : nullptr;
    }
    HRESULT CreateInstance(IUnknown* outer, const GUID& iid, void** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        return outer ? CLASS_E_NOAGGREGATION : MakeOfClass(class_id_, iid, object);
    }
    HRESULT LockServer(bool) override { return S_OK; }

private:
    GUID class_id_;
};

bool IsRegistered(const GUID& class_id) {
    for (const ClassRegistration& entry : kClasses) {
        if (entry.class_id == class_id) return true;
    }
    return false;
}

bool IsNamed(const char* name, const char* wanted) {
    return name && std::strcmp(name, wanted) == 0;
}

}  // namespace

std::span<const ClassRegistration> RegisteredClasses() { return kClasses; }

HRESULT GetClassObject(const GUID& class_id, const GUID& iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (!IsRegistered(class_id)) return REGDB_E_CLASSNOTREG;
    auto* const factory = MakeObject<ClassFactory>(class_id);
    if (!factory) return E_OUTOFMEMORY;
    const HRESULT result = factory->QueryInterface(iid, object);
    factory->Release();
    return result;
}

HRESULT CreateInstance(const GUID& class_id, const GUID& iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    return MakeOfClass(class_id, iid, object);
}

HRESULT CreateInstance(const char* program_id, const GUID& iid, void** object) {
    if (!object || !program_id) return E_POINTER;
    *object = nullptr;
    for (const ClassRegistration& entry : kClasses) {
        if (IsNamed(entry.program_id, program_id) ||
            IsNamed(entry.version_independent_id, program_id)) {
            return CreateInstance(entry.class_id, iid, object);
        }
    }
    return REGDB_E_CLASSNOTREG;
}

}  // namespace torval
