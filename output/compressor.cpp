#include "output/compressor.h"

#ifdef VEXLO_HAVE_ZLIB
#include <zlib.h>
#endif
#ifdef VEXLO_HAVE_ZSTD
#include <zstd.h>
#endif

#include <new>

#include "values/errors.h"

namespace vexlo {

namespace {

#ifdef VEXLO_HAVE_ZLIB
constexpr bool HAVE_ZLIB = true;

class GzipCompressor : public Compressor {
public:
    GzipCompressor() {
        constexpr int GZIP_WINDOW = 15 + 16; // with the header and trailer of gzip
        constexpr int MEMORY_LEVEL = 8;
        if (deflateInit2(&stream_, LEVEL, Z_DEFLATED, GZIP_WINDOW, MEMORY_LEVEL, Z_DEFAULT_STRATEGY) != Z_OK)
            throw std::bad_alloc();
    }
    ~GzipCompressor() override { deflateEnd(&stream_); }

    bool add(const char *data, size_t size, ByteBuffer &out) override {
        constexpr size_t PART_MAX = 1U << 30; // the library counts in 32 bits
        while (size > 0) {
            const size_t part = size < PART_MAX ? size : PART_MAX;
            if (!run(data, part, Z_NO_FLUSH, out))
                return false;
            data += part;
            size -= part;
        }
        return true;
    }
    bool end(ByteBuffer &out) override { return run(nullptr, 0, Z_FINISH, out); }

private:
    static constexpr int LEVEL = 4; // beyond it takes much longer for little

    bool run(const char *data, size_t size, int flush, ByteBuffer &out) {
        constexpr size_t STEP = 1 << 16;
        stream_.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(data));
        stream_.avail_in = static_cast<uInt>(size);
        do {
            char *room = out.reserve(STEP);
            stream_.next_out = reinterpret_cast<Bytef *>(room);
            stream_.avail_out = STEP;
            if (deflate(&stream_, flush) == Z_STREAM_ERROR)
                return false;
            out.commit_to(room + (STEP - stream_.avail_out));
        } while (stream_.avail_out == 0);
        return true;
    }

    z_stream stream_{};
};

std::unique_ptr<Compressor> make_gzip() {
    return std::make_unique<GzipCompressor>();
}
#else
constexpr bool HAVE_ZLIB = false;

std::unique_ptr<Compressor> make_gzip() {
    return nullptr;
}
#endif

#ifdef VEXLO_HAVE_ZSTD
constexpr bool HAVE_ZSTD = true;

class ZstdCompressor : public Compressor {
public:
    ZstdCompressor() : context_(ZSTD_createCCtx()) {
        if (context_ == nullptr)
            throw std::bad_alloc();
        ZSTD_CCtx_setParameter(context_, ZSTD_c_checksumFlag, 1);
    }
    ~ZstdCompressor() override { ZSTD_freeCCtx(context_); }
    ZstdCompressor(const ZstdCompressor &) = delete;
    ZstdCompressor &operator=(const ZstdCompressor &) = delete;

    bool add(const char *data, size_t size, ByteBuffer &out) override {
        return run(data, size, ZSTD_e_continue, out);
    }
    bool end(ByteBuffer &out) override { return run(nullptr, 0, ZSTD_e_end, out); }

private:
    bool run(const char *data, size_t size, ZSTD_EndDirective mode, ByteBuffer &out) {
        ZSTD_inBuffer input{data, size, 0};
        for (size_t left = 1; left != 0;) {
            const size_t step = ZSTD_CStreamOutSize();
            ZSTD_outBuffer output{out.reserve(step), step, 0};
            left = ZSTD_compressStream2(context_, &output, &input, mode);
            if (ZSTD_isError(left))
                return false;
            out.commit_to(static_cast<char *>(output.dst) + output.pos);
            if (mode == ZSTD_e_continue && input.pos == input.size)
                break;
        }
        return true;
    }

    ZSTD_CCtx *context_;
};

std::unique_ptr<Compressor> make_zstd() {
    return std::make_unique<ZstdCompressor>();
}
#else
constexpr bool HAVE_ZSTD = false;

std::unique_ptr<Compressor> make_zstd() {
    return nullptr;
}
#endif

} // namespace

Compression compression_of(const std::string &name) {
    if (name.empty())
        return Compression::none;
    if (name != "gzip" && name != "zstd")
        throw UsageError("compression \"" + name + "\" is not known");
    const bool gzip = name == "gzip";
    if (!(gzip ? HAVE_ZLIB : HAVE_ZSTD))
        throw UsageError("--compress " + name + " is not available: this program was built without the " +
                         (gzip ? "zlib" : "zstd") + " library");
    return gzip ? Compression::gzip : Compression::zstd;
}

std::string_view compression_extension(Compression compression) {
    return compression == Compression::gzip ? ".gz" : compression == Compression::zstd ? ".zst" : "";
}

std::unique_ptr<Compressor> make_compressor(Compression compression) {
    if (compression == Compression::gzip)
        return make_gzip();
    return compression == Compression::zstd ? make_zstd() : nullptr;
}

} // namespace vexlo
