// vexlo-sample: writes the demonstration database into a directory.
#include <charconv>
#include <cstdio>
#include <exception>
#include <string_view>

#include "demo.h"

namespace {

constexpr int EXIT_FAILED = 1;
constexpr int EXIT_USAGE = 2;
constexpr size_t DEFAULT_BLOCK_SIZE = 8192;

constexpr char USAGE[] = "usage: vexlo-sample DIR [--block-size N]\n";
constexpr char HELP[] =
    "\n"
    "Writes a demonstration database into DIR: datafiles, the list of them (datafiles.txt),\n"
    "a configuration file (config.ini), and the empty directories dict and data.\n"
    "\n"
    "  --block-size N   block size of the database: 2048, 4096, 8192 (default), 16384 or 32768\n"
    "  --help           this text\n";

struct Arguments {
    const char *dir = nullptr;
    size_t block_size = DEFAULT_BLOCK_SIZE;
    bool help = false;
};

bool parse_block_size(std::string_view text, size_t &size) {
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), size);
    bool whole = error == std::errc() && end == text.data() + text.size();
    return whole && size >= 2048 && size <= 32768 && (size & (size - 1)) == 0;
}

// Fills args; prints the reason and returns false when they cannot be used.
bool parse_arguments(int argc, char **argv, Arguments &args) {
    for (int i = 1; i < argc; i++) {
        std::string_view arg = argv[i];
        if (arg == "--help") {
            args.help = true;
        } else if (arg == "--block-size") {
            if (++i == argc || !parse_block_size(argv[i], args.block_size)) {
                std::fputs("vexlo-sample: --block-size needs 2048, 4096, 8192, 16384 or 32768.\n", stderr);
                return false;
            }
        } else if (arg.starts_with("-")) {
            std::fprintf(stderr, "vexlo-sample: unknown option \"%s\".\n", argv[i]);
            return false;
        } else if (args.dir != nullptr) {
            std::fprintf(stderr, "vexlo-sample: only one directory can be given, not \"%s\" too.\n", argv[i]);
            return false;
        } else {
            args.dir = argv[i];
        }
    }
    return true;
}

} // namespace

int main(int argc, char **argv) {
    Arguments args;
    if (!parse_arguments(argc, argv, args)) {
        std::fputs(USAGE, stderr);
        return EXIT_USAGE;
    }
    if (args.help) {
        std::printf("%s%s", USAGE, HELP);
        return 0;
    }
    if (args.dir == nullptr || *args.dir == '\0') {
        std::fputs(USAGE, stderr);
        return EXIT_USAGE;
    }
    try {
        sample::write_demo(args.dir, args.block_size);
    } catch (const std::exception &e) {
        std::fprintf(stderr, "vexlo-sample: %s\n", e.what());
        return EXIT_FAILED;
    }
    std::printf("demonstration database written to %s\n", args.dir);
    return 0;
}
