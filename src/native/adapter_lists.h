#pragma once

#include <winsock2.h>
#include <iphlpapi.h>

#include <string>

#include "store/wide_string.h"
#include "support/unique.h"

namespace orrery {

// The lists of IP Helper. Each is null, or empty, when the library or its function is missing or
// the call fails.

/// The adapters with their IPv4 addresses, linked in the system's order.
UniqueMalloc<IP_ADAPTER_INFO> ReadAdapterList(HMODULE ipHelper);

/// The first DNS server of an adapter.
WideString ReadDnsServer(HMODULE ipHelper, DWORD adapterIndex);

/// The adapters with their IPv6 addresses. Windows Sockets are started.
UniqueHeapBlock<IP_ADAPTER_ADDRESSES> ReadIPv6AdapterList(HMODULE ipHelper);

/// The numeric form of an address, with its zone; empty when there is none.
std::wstring HostText(const SOCKET_ADDRESS& address);

}  // namespace orrery
