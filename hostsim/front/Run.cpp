#include "front/Folders.h"
#include "front/Front.h"
#include "front/Mounts.h"
#include "model/Files.h"
#include "model/Process.h"
#include "model/Store.h"
#include "tools/Dispatch.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace hostsim {

namespace {

constexpr long kTickMs = 200;
constexpr int kForwarded[] = {SIGTERM, SIGINT, SIGHUP};
// Half a second for background programs to notice the end of the run.
constexpr auto kGraceTick = std::chrono::milliseconds(10);
constexpr int kGraceTicks = 50;

volatile std::sig_atomic_t childPid = 0;

struct Options
{
    std::string sceneFile;
    std::string stateFolder;
    std::string language;
    bool mounts = true;
    std::vector<std::string> command;
};

Options parse(const std::vector<std::string>& args)
{
    Options options;
    size_t i = 0;
    for (; i < args.size() && args[i].rfind("--", 0) == 0; ++i) {
        if (args[i] == "--") {
            ++i;
            break;
        }
        if (args[i] == "--no-mounts") {
            options.mounts = false;
            continue;
        }
        std::string* target = args[i] == "--scene"   ? &options.sceneFile
                              : args[i] == "--state" ? &options.stateFolder
                              : args[i] == "--lang"  ? &options.language
                                                     : nullptr;
        if (!target || i + 1 == args.size())
            throw std::invalid_argument("run: " + args[i]);
        *target = args[++i];
    }
    options.command.assign(args.begin() + long(i), args.end());
    if (options.command.empty())
        throw std::invalid_argument("run: no command");
    return options;
}

// A folder that already holds a host keeps it, unless a scene is given.
void prepare(const Store& store, const Options& options)
{
    if (!store.exists() || !options.sceneFile.empty())
        store.create(sceneOf(options.sceneFile));
    std::vector<std::string> names = toolNames();
    names.emplace_back("hostsim");
    // A link that is there already, from an earlier run, is kept: failing to make it is no error.
    for (const std::string& name : names) {
        const std::string link = store.folder().binFolder() + "/" + name;
        std::error_code failed;
        fs::create_symlink(programFolder() + "/hostsim", link, failed);
    }
}

std::string environment(const char* name)
{
    const char* value = std::getenv(name);
    return value ? value : "";
}

void prepend(const char* name, const std::string& value)
{
    const std::string old = environment(name);
    ::setenv(name, (old.empty() ? value : value + ":" + old).c_str(), 1);
}

void append(const char* name, const std::string& value)
{
    const std::string old = environment(name);
    ::setenv(name, (old.empty() ? value : old + ":" + value).c_str(), 1);
}

// "c" is C with UTF-8. All variables that would override LANG are removed first.
void setLanguage(const std::string& language)
{
    if (language.empty())
        return;
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANGUAGE"})
        ::unsetenv(name);
    if (language == "c")
        ::setenv("LC_ALL", "C.UTF-8", 1);
    else
        ::setenv("LANG", language == "zh" ? "zh_CN.UTF-8" : "en_US.UTF-8", 1);
}

// In the build tree, as installed, or in one folder with the program.
std::string shimFile()
{
    for (const char* place : {"/../lib/libhostsim-shim.so", "/../lib/hostsim/libhostsim-shim.so",
                              "/libhostsim-shim.so"}) {
        std::error_code failed;
        const fs::path path = fs::canonical(programFolder() + place, failed);
        if (!failed)
            return path.string();
    }
    throw std::runtime_error("libhostsim-shim.so is not beside " + programFolder());
}

void setEnvironment(const Store& store, const Options& options)
{
    setLanguage(options.language);
    ::setenv("HOSTSIM_STATE", store.folder().path().c_str(), 1);
    ::setenv("HOSTSIM_PLATFORM_SCRIPT", (store.folder().binFolder() + "/platform.sh").c_str(), 1);
    prepend("PATH", store.folder().binFolder());
    append("LD_PRELOAD", shimFile());
    // Otherwise the address sanitizer insists on being the first library that is loaded.
    append("ASAN_OPTIONS", "verify_asan_link_order=0");
}

// The command must not outlive hostsim, not even if that is killed: hence PR_SET_PDEATHSIG.
[[noreturn]] void runChild(const Store& store, const Options& options, const sigset_t& held)
{
    ::sigprocmask(SIG_UNBLOCK, &held, nullptr);
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (options.mounts)
        mountPrivateFolders(store.folder());
    std::vector<char*> argv;
    for (const std::string& arg : options.command)
        argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    ::execvp(argv[0], argv.data());
    std::cerr << "hostsim: " << options.command[0] << ": " << std::strerror(errno) << "\n";
    ::_exit(127);
}

// Signals that wait since before the fork come in here, once the command has its number.
void forwardSignals()
{
    sigset_t forwarded;
    sigemptyset(&forwarded);
    for (const int number : kForwarded) {
        sigaddset(&forwarded, number);
        std::signal(number, [](int received) { ::kill(childPid, received); });
    }
    ::sigprocmask(SIG_UNBLOCK, &forwarded, nullptr);
}

// Keeps the host's timers going while no tool is called. SIGCHLD cuts the wait short when the
// command ends.
int superviseChild(const Store& store, pid_t child, bool isOwner)
{
    sigset_t childSignal;
    sigemptyset(&childSignal);
    sigaddset(&childSignal, SIGCHLD);
    int status = 0;
    for (pid_t ended = 0; ended != child && ended >= 0;) {
        ended = ::waitpid(-1, &status, WNOHANG); // reaps background jobs, too
        if (ended != 0)
            continue;
        const timespec limit = {0, kTickMs * 1000000};
        ::sigtimedwait(&childSignal, nullptr, &limit);
        if (isOwner)
            store.tick();
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

void killChildren()
{
    std::istringstream children(
        readFile("/proc/self/task/" + std::to_string(::getpid()) + "/children"));
    for (pid_t child = 0; children >> child;)
        ::kill(child, SIGKILL);
}

// Servers and hanging tools in the background notice the end of the run and exit; whatever does
// not is killed. Nothing outlives the run.
void endLeftovers()
{
    for (int i = 0; i < kGraceTicks * 10; ++i) {
        const pid_t ended = ::waitpid(-1, nullptr, WNOHANG);
        if (ended < 0 && errno == ECHILD)
            return;
        if (ended > 0)
            continue;
        if (i >= kGraceTicks)
            killChildren();
        std::this_thread::sleep_for(kGraceTick);
    }
}

// SIGCHLD is blocked before the command starts, so that sigtimedwait() cannot miss it. The signals
// that are forwarded wait until there is a command to forward them to: it may be up, and somebody
// may want to end it, before this process has returned from its fork.
sigset_t blockSignals()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGCHLD);
    for (const int number : kForwarded)
        sigaddset(&set, number);
    ::sigprocmask(SIG_BLOCK, &set, nullptr);
    return set;
}

} // namespace

int runCommand(const std::vector<std::string>& args)
{
    const Options options = parse(args);
    const bool isTemporary = options.stateFolder.empty();
    const Store store(isTemporary ? newStateFolder() : fs::absolute(options.stateFolder).string());
    fs::create_directories(store.folder().path());
    // A second run on the same host is a guest: background programs belong to the first.
    const bool isOwner = !isRunAlive(store.folder());
    prepare(store, options);
    if (isOwner) {
        markRun(store.folder());
        markStarted(store.folder().path());
    }
    if (isOwner)
        ::prctl(PR_SET_CHILD_SUBREAPER,
                1); // orphaned background jobs become children of this process
    setEnvironment(store, options);
    const sigset_t held = blockSignals();
    const pid_t child = ::fork();
    if (child < 0)
        throw std::runtime_error(std::string("fork: ") + std::strerror(errno));
    if (child == 0)
        runChild(store, options, held);
    childPid = child;
    forwardSignals();
    const int status = superviseChild(store, child, isOwner);
    std::error_code ignored;
    if (isOwner) {
        fs::remove(store.folder().runFile(), ignored);
        markEnded(store.folder().path());
        endLeftovers();
    }
    // Last, since background programs write to the folder until they end.
    if (isTemporary)
        fs::remove_all(store.folder().path(), ignored);
    return status;
}

} // namespace hostsim
