// Compressed data as compressed SecureFiles hold it.
#pragma once

#include "bytes.h"

namespace sample {

// One zlib stream over the data. A build without zlib stores the bytes uncompressed in it.
Bytes zlib_stream(ByteView data);

// A sequence of compression maps: runs of streams, each with the sizes of its streams in front.
Bytes compression_maps(ByteView data);

} // namespace sample
