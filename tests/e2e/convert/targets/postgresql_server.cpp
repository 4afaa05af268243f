#include "postgresql_server.h"

#include <fcntl.h>
#include <pwd.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <thread>

namespace {

namespace fs = std::filesystem;

// The directory with initdb and postgres; empty when there is none.
std::string find_programs() {
    const fs::path versions = "/usr/lib/postgresql";
    if (fs::is_directory(versions))
        for (const auto &version : fs::directory_iterator(versions))
            if (fs::exists(version.path() / "bin/initdb") && fs::exists(version.path() / "bin/postgres"))
                return version.path() / "bin";
    return "";
}

// The server refuses to run as root.
void give_up_root() {
    if (geteuid() != 0)
        return;
    const passwd *user = getpwnam("nobody");
    if (user == nullptr || setgid(user->pw_gid) != 0 || setuid(user->pw_uid) != 0)
        _exit(125);
}

// Starts a program as an unprivileged user, its output in a file.
pid_t start_program(const std::vector<std::string> &command, const std::string &log) {
    const pid_t child = fork();
    if (child != 0)
        return child;
    const int file = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0666);
    dup2(file, STDOUT_FILENO);
    dup2(file, STDERR_FILENO);
    give_up_root();
    setenv("LC_ALL", "C", 1);
    std::vector<char *> argv;
    for (const std::string &word : command)
        argv.push_back(const_cast<char *>(word.c_str()));
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
}

int end_of(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

PostgresqlServer *PostgresqlServer::get() {
    static const std::string programs = find_programs();
    static std::unique_ptr<PostgresqlServer> server;
    if (!server && !programs.empty())
        server.reset(new PostgresqlServer(programs));
    return server.get();
}

PostgresqlServer::PostgresqlServer(const std::string &programs) : programs_(programs) {
    std::string name = "/tmp/vexlo_pg_XXXXXX"; // short: it becomes part of the socket's name
    if (mkdtemp(name.data()) == nullptr)
        throw std::runtime_error("cannot create " + name);
    directory_ = name;
    fs::permissions(directory_, fs::perms::all);
    start();
}

void PostgresqlServer::start() {
    const std::string data = directory_ + "/data", log = directory_ + "/log";
    const std::vector<std::string> init = {
        programs_ + "/initdb", "-D", data, "-U", "vexlo", "-A", "trust", "-E", "UTF8", "--locale=C", "-N"};
    if (end_of(start_program(init, log)) != 0)
        throw std::runtime_error("initdb failed, see " + log);
    pid_ = start_program(
        {programs_ + "/postgres", "-D", data, "-k", directory_, "-c", "listen_addresses=", "-F"}, log);
    for (int i = 0; i < 600; ++i) {
        if (command("postgres", "SELECT 1").status == 0)
            return;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    throw std::runtime_error("the server does not answer, see " + log);
}

PostgresqlServer::~PostgresqlServer() {
    if (pid_ > 0) {
        kill(pid_, SIGINT);
        end_of(pid_);
    }
    std::error_code ignored;
    fs::remove_all(directory_, ignored);
}

std::vector<std::string> PostgresqlServer::psql(const std::string &database) const {
    std::vector<std::string> words = {programs_ + "/psql", "-X", "-q", "-A", "-t"};
    const std::vector<std::string> options = connection(database);
    words.insert(words.end(), options.begin(), options.end());
    return words;
}

std::vector<std::string> PostgresqlServer::connection(const std::string &database) const {
    return {"-h", directory_, "-U", "vexlo", "-d", database};
}

void PostgresqlServer::create_database(const std::string &name) {
    query("postgres", "CREATE DATABASE " + name);
}

ProgramResult PostgresqlServer::run_script(const std::string &database, const std::string &path,
                                           const std::string &work_dir) {
    std::vector<std::string> command = psql(database);
    command.insert(command.end(), {"-f", path});
    vexlo_test::run_options options;
    options.work_dir = work_dir;
    return run_program(command, options);
}

ProgramResult PostgresqlServer::command(const std::string &database, const std::string &sql) {
    std::vector<std::string> words = psql(database);
    words.insert(words.end(), {"-c", sql});
    return run_program(words);
}

std::string PostgresqlServer::query(const std::string &database, const std::string &sql) {
    const ProgramResult result = command(database, sql);
    if (result.status != 0)
        throw std::runtime_error(sql + ": " + result.err);
    return result.out;
}
