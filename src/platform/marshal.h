// Handing a host's site to another thread: through a stream to a proxy there.
//
// MarshalSite lends the site: it takes a reference and writes a ticket for it into a stream. On the
// other thread UnmarshalSite turns the ticket into a proxy that implements the same interface. A
// call on the proxy becomes a window-addressed message to the lender's apartment and waits until
// that apartment dispatches it, so that the site is only ever called on its own thread.
//
// Lifetime  the reference is released on the lender's thread: when it withdraws the site, or when
//           its apartment ends, whichever comes first. The proxy may outlive both.
// Errors    a call on a withdrawn site or to an apartment that has ended fails at once with
//           RPC_E_DISCONNECTED, as does one that is already waiting.
// Thread    as each function says.
#pragma once

#include <cstdint>

#include "torval/engine.h"

namespace torval {

/// Names a lent site; 0 none.
using SiteTicket = std::uint64_t;

/// On the site's thread, inside an apartment: a stream that begins with a ticket.
/// CO_E_NOTINITIALIZED outside an apartment, E_OUTOFMEMORY.
HRESULT MarshalSite(IChessEngineSite* site, IStream** stream, SiteTicket* ticket);

/// On any thread: a proxy for the site the stream's ticket names.
/// RPC_E_DISCONNECTED when it has been withdrawn, E_INVALIDARG when the stream holds no ticket.
HRESULT UnmarshalSite(IStream* stream, IChessEngineSite** proxy);

/// On the site's thread: fails waiting calls, lets no new one through, and releases the reference.
void WithdrawSite(SiteTicket ticket);

}  // namespace torval
