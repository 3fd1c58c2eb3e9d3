// The boundary to a host: results are codes, and no exception leaves a public method.
//
// Thread   any.
#pragma once

#include <exception>
#include <new>
#include <utility>

#include "torval/base.h"

namespace torval {

/// Does the work of a public method and returns its result. E_OUTOFMEMORY: there is not enough
/// memory for it; E_FAIL: something else was thrown.
template <typename Work>
HRESULT AtBoundary(Work&& work) noexcept {
    try {
        return std::forward<Work>(work)();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (const std::exception&) {
        return E_FAIL;
    }
}

}  // namespace torval
