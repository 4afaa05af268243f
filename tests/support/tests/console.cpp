// A console program with the banner, the prompt and the endless prompting of the real one, for the tests
// of the runner. Commands: out, err, alternate, flood, abort, cwd, env NAME, fill FILE, handles, config,
// exit.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

namespace {

void alternate() {
    for (int i = 0; i < 3; ++i) {
        std::cout << "out" << i << std::endl;
        std::cerr << "err" << i << std::endl;
    }
}

[[noreturn]] void flood() {
    const std::string line(1000, 'x');
    for (;;)
        std::cout << line << "\n";
}

void fill(const char *path) {
    const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const std::string block(1000, 'x');
    ssize_t n;
    do
        n = write(fd, block.data(), block.size());
    while (n == static_cast<ssize_t>(block.size()) && lseek(fd, 0, SEEK_CUR) < 100000);
    std::cout << (n < 0 ? strerrorname_np(errno) : "short or done") << "\n";
    close(fd);
}

// Closes them again: the leak check of a sanitizer build needs descriptors at exit.
void count_handles() {
    std::vector<int> opened;
    for (int fd = open("/dev/null", O_RDONLY); fd != -1 && opened.size() < 1000;
         fd = open("/dev/null", O_RDONLY))
        opened.push_back(fd);
    for (int fd : opened)
        close(fd);
    std::cout << opened.size() << "\n";
}

void print_cwd() {
    char *dir = getcwd(nullptr, 0);
    std::cout << dir << "\n";
    std::free(dir);
}

void run(const std::string &command, const char *config) {
    const std::string word = command.substr(0, command.find(' '));
    const std::string rest = word == command ? "" : command.substr(word.size() + 1);
    if (word == "out")
        std::cout << rest << "\n";
    else if (word == "err")
        std::cerr << rest << "\n";
    else if (word == "alternate")
        alternate();
    else if (word == "flood")
        flood();
    else if (word == "abort")
        std::abort();
    else if (word == "cwd")
        print_cwd();
    else if (word == "env")
        std::cout << std::getenv(rest.c_str()) << "\n";
    else if (word == "fill")
        fill(rest.c_str());
    else if (word == "handles")
        count_handles();
    else if (word == "config")
        std::cout << config << "\n";
}

} // namespace

int main(int argc, char **argv) {
    std::cerr << "\nVexlo utilities.\n\nA notice of its own.\n\n";
    if (argc > 1 && std::strcmp(argv[1], "config=missing") == 0) {
        std::cerr << "open missing: No such file or directory\n";
        return 255;
    }
    std::string line;
    for (;;) {
        std::cerr << "VEXLO> ";
        line.clear();
        std::getline(std::cin, line);
        if (line == "exit")
            return 0;
        run(line, argc > 1 ? argv[1] : "");
    }
}
