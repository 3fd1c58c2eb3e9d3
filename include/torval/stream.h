// Streams: bytes that settings are saved to and loaded from.
//
// Shape    a position, a length, bytes. Reading past the end returns the bytes up to it.
// Errors   a read or write returns S_OK with the number of bytes done, which is smaller than asked
//          for at the end of a stream; a fault of the medium is STG_E_READFAULT, STG_E_WRITEFAULT or
//          STG_E_MEDIUMFULL. The pointer for a count may be null.
// Thread   one at a time; the two streams made here belong to no apartment.
#pragma once

#include "torval/identifiers.h"

namespace torval {

enum class SeekFrom : std::uint32_t { Start = 0, Current = 1, End = 2 };

class IStream : public IUnknown {
public:
    virtual HRESULT Read(void* bytes, std::uint32_t count, std::uint32_t* done) = 0;
    virtual HRESULT Write(const void* bytes, std::uint32_t count, std::uint32_t* done) = 0;
    /// STG_E_INVALIDFUNCTION: the new position would be before the start; it has not moved.
    virtual HRESULT Seek(std::int64_t distance, SeekFrom from, std::uint64_t* position) = 0;

protected:
    ~IStream() = default;
};

/// An empty stream in memory. E_OUTOFMEMORY.
TORVAL_API HRESULT CreateMemoryStream(IStream** stream);

enum class FileMode { Read, Create };

/// A stream over a file; Create empties an existing one. E_INVALIDARG: it cannot be opened.
TORVAL_API HRESULT CreateFileStream(const char* path, FileMode mode, IStream** stream);

}  // namespace torval
