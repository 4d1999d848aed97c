// The H.264 packetiser for a buffer that ends where its size says.
#pragma once

struct wld_native;

namespace qlip {

// wld_rfc3984_packet charges fewer bytes than it writes, by a slack that its callers hold ready. This one
// never writes beyond `out_size` and returns -1 instead.
int rfc3984_packet_within(void* out, int out_size, void* in, int in_size, double seconds, wld_native* native);

}  // namespace qlip
