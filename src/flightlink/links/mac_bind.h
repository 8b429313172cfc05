// MAC binding: while an application is connected, the Wi-Fi input is open to its phone alone.
//
// The phone's MAC address is looked up in the ARP table when it connects, remembered in
// /tmp/macset.txt and let through by iptables; every other station is dropped. The reset of the
// application link lifts the filter again, whatever has failed before, and keeps the file. One
// thread, that of the application server, calls; commands and what they give are not checked.
#pragma once

namespace flightlink {

// Accept: looks up the peer of the connected socket and remembers it. Returns 0, or -1 when the
// socket is 0, the peer or its address is unknown or it cannot be remembered.
int set_mac_bind(int socket);

// Puts the address, "02:4b:9c:de:f0:6f", into the table in the place of any other one; an address
// that is there already changes nothing, in whatever case it is spelled. Returns 0 also when the
// table is full, and -1 when memory is short or the text is no address.
int save_macaddr(const char* mac);

// Accept, after set_mac_bind: closes the input to all but the table's addresses and the loopback
// address. A table that lacks the phone keeps out its acknowledgements as well: the connection
// times out (app_link), and the reset that follows opens the input again.
void bind_macaddr_from_table();

// Reset: opens the input to everybody. The table is kept.
void clear_mac_bind();

// Forgets the table and opens the input to everybody.
void clear_mac_table();

// Looks up an IPv4 address and prints its MAC address; binds nothing. Returns 0 or -1.
int set_mac_bind_ip(const char* address);

}  // namespace flightlink
