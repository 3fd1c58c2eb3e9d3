// The registration table of this library's classes, and how a host creates them.
//
// Thread   any; the object belongs to the thread that created it.
#pragma once

#include <span>

#include "torval/identifiers.h"

namespace torval {

/// One class, as a host that looks for engines finds it.
struct ClassRegistration {
    GUID class_id;
    const char* program_id;              ///< with its version; null for the pages
    const char* version_independent_id;  ///< without; null for the pages
    const char* description;
    const char* threading_model;  ///< "Apartment"
    const GUID* category;         ///< CATID_ChessEngine for engines, else null
};

/// The name of CATID_ChessEngine in lists of categories.
inline constexpr const char* kEngineCategoryDescription = "Chess Engine";

/// All classes.
TORVAL_API std::span<const ClassRegistration> RegisteredClasses();

/// Creates an object of a class and queries it for an interface. REGDB_E_CLASSNOTREG,
/// E_NOINTERFACE, E_OUTOFMEMORY; *object is null then.
TORVAL_API HRESULT CreateInstance(const GUID& class_id, const GUID& iid, void** object);

/// The same by program identifier, such as "TORVAL.Engine".
TORVAL_API HRESULT CreateInstance(const char* program_id, const GUID& iid, void** object);

class IClassFactory : public IUnknown {
public:
    /// CLASS_E_NOAGGREGATION when outer is not null.
    virtual HRESULT CreateInstance(IUnknown* outer, const GUID& iid, void** object) = 0;
    virtual HRESULT LockServer(bool lock) = 0;

protected:
    ~IClassFactory() = default;
};

/// The factory of a class, for IID_IClassFactory or IID_IUnknown.
TORVAL_API HRESULT GetClassObject(const GUID& class_id, const GUID& iid, void** object);

}  // namespace torval
