// Why a host cannot work with the engine: a refusal with the engine's code.
#pragma once

#include <stdexcept>
#include <string>

#include "torval/base.h"

namespace torval {

class SessionError : public std::runtime_error {
public:
    /// "the engine does not <what> (code <result>)", failures in hexadecimal.
    SessionError(const std::string& what, HRESULT result);
};

}  // namespace torval
