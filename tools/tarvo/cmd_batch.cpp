// tarvo batch: a chain of the tool's operations over every picture of a folder.
//
// Each result is written under the same relative name in the output folder,
// first to a hidden temporary beside it and then renamed, so a reader never
// sees half a file. Pictures run in parallel; each one is processed alone, so
// the files are the same whatever the number of jobs. Ctrl-C lets the
// pictures in hand finish, removes what is left of temporaries and stops.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <string>
#include <system_error>
#include <vector>

#include "operations.h"
#include "tarvo/parallel.h"
#include "tool.h"

namespace fs = std::filesystem;

namespace tarvotool {

namespace {

constexpr int kExitInterrupted = 130;  // the shell's code for a SIGINT

volatile std::sig_atomic_t g_interrupted = 0;

extern "C" void onInterrupt(int) {
    g_interrupted = 1;
}

struct Step {
    const Operation* op;
    Args args;
};

struct Failure {
    std::string file;
    std::string reason;
};

void printBatchUsage(FILE* to) {
    std::fprintf(to,
                 "usage: tarvo batch [--jobs N] [--recursive] [--quiet] IN_DIR OUT_DIR -- OP "
                 "[options] [-- OP [options] ...]\n"
                 "Runs the chain of operations on every file of IN_DIR and writes each result "
                 "under the same\nrelative name in OUT_DIR (the extension picks the format).\n"
                 "  --jobs N      pictures at a time, default all processors; results do not "
                 "depend on it\n"
                 "  --recursive   include the files of subfolders\n"
                 "  --quiet       no progress on stderr\n"
                 "Progress goes to stderr. Files that cannot be read and operations that fail "
                 "are listed at\nthe end; the exit status is then 1. Ctrl-C finishes the "
                 "pictures in hand and stops (status 130).\n"
                 "example: tarvo batch --jobs 2 photos/ out/ -- gaussian --sigma 2 -- sobel "
                 "--dx 1\n");
}

int printBatchHelp() {
    printBatchUsage(stdout);
    std::size_t n;
    const Operation* t = operationTable(&n);
    std::printf(
        "\nOperations, and how far the result at a pixel reads the source (a picture tiled "
        "with\nthat margin gives the same result; 'whole picture' cannot be tiled):\n");
    for (std::size_t i = 0; i < n; i++)
        std::printf("  %-22s %s\n", t[i].name, describeReach(t[i]).c_str());
    return 0;
}

// Splits "-- OP [options] -- OP ..." into steps. False with one line in error.
bool parseChain(const std::vector<std::string>& words, std::vector<Step>& chain,
                std::string& error) {
    std::size_t w = 0;
    while (w < words.size()) {
        if (words[w] != "--") {
            error = "expected '--' before an operation, got '" + words[w] + "'";
            return false;
        }
        std::size_t end = w + 1;
        while (end < words.size() && words[end] != "--") end++;
        if (end == w + 1) {
            error = "an operation name must follow '--'";
            return false;
        }
        const Operation* op = findOperation(words[w + 1].c_str());
        if (!op) {
            error = "unknown operation '" + words[w + 1] + "' (tarvo list shows them)";
            return false;
        }
        std::vector<const char*> opts;
        for (std::size_t k = w + 2; k < end; k++) opts.push_back(words[k].c_str());
        Step step{op, Args()};
        std::string stray[1];
        int nstray = 0;
        if (!parseArgs(*op, int(opts.size()), opts.data(), step.args, stray, 1, &nstray, error))
            return false;
        if (nstray) {
            error =
                std::string(op->name) + " takes no file names in a batch, got '" + stray[0] + "'";
            return false;
        }
        chain.push_back(step);
        w = end;
    }
    if (chain.empty()) {
        error = "no operation given: add -- OP [options] after the folders";
        return false;
    }
    return true;
}

// The regular files of dir (and of its subfolders when recursive) as paths
// relative to dir, sorted; hidden files and anything under skip are left out.
bool listPictures(const fs::path& dir, bool recursive, const fs::path& skip,
                  std::vector<fs::path>& files, std::string& error) {
    std::error_code ec;
    if (!fs::is_directory(dir, ec)) {
        error = "'" + dir.string() + "' is not a folder";
        return false;
    }
    const auto visit = [&](const fs::directory_entry& e) {
        const std::string name = e.path().filename().string();
        if (name.empty() || name[0] == '.') return;
        std::error_code ec2;
        if (e.is_regular_file(ec2)) files.push_back(e.path().lexically_relative(dir));
    };
    if (recursive) {
        fs::recursive_directory_iterator it(dir, fs::directory_options::skip_permission_denied, ec),
            end;
        for (; !ec && it != end; it.increment(ec)) {
            const std::string name = it->path().filename().string();
            std::error_code ec2;
            const bool isDir = it->is_directory(ec2);
            if (isDir && ((!name.empty() && name[0] == '.') ||
                          (!skip.empty() && fs::equivalent(it->path(), skip, ec2)))) {
                it.disable_recursion_pending();
                continue;
            }
            visit(*it);
        }
    } else {
        for (fs::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec))
            visit(*it);
    }
    if (ec) {
        error = "cannot read folder '" + dir.string() + "': " + ec.message();
        return false;
    }
    std::sort(files.begin(), files.end());
    return true;
}

// Runs the chain on one file and writes its result. False with the reason.
bool processOne(const fs::path& inDir, const fs::path& outDir, const fs::path& rel,
                const std::vector<Step>& chain, std::size_t index, std::string& error) {
    tarvo::Mat cur;
    const std::string inName = (inDir / rel).string();
    if (!loadPicture(inName, cur, error)) return false;
    for (const Step& s : chain) {
        tarvo::Mat next;
        if (!applyOperation(*s.op, cur, s.args, next, inName, error)) return false;
        cur = std::move(next);
    }
    const fs::path target = outDir / rel;
    std::error_code ec;
    fs::create_directories(target.parent_path(), ec);
    if (ec) {
        error = "cannot create folder '" + target.parent_path().string() + "': " + ec.message();
        return false;
    }
    // Hidden and unique per process and picture; the extension keeps the format.
    const fs::path temp = target.parent_path() /
                          ("." + target.stem().string() + ".tarvo-" + std::to_string(::getpid()) +
                           "-" + std::to_string(index) + ".tmp" + target.extension().string());
    if (!savePicture(temp.string(), cur, error)) {
        fs::remove(temp, ec);
        return false;
    }
    fs::rename(temp, target, ec);
    if (ec) {
        error = "cannot rename into '" + target.string() + "': " + ec.message();
        fs::remove(temp, ec);
        return false;
    }
    return true;
}

std::string clock(double seconds) {
    if (!(seconds >= 0) || seconds > 359999) return "--:--";
    const long s = long(seconds + 0.5);
    char buf[32];
    if (s >= 3600)
        std::snprintf(buf, sizeof(buf), "%ld:%02ld:%02ld", s / 3600, s / 60 % 60, s % 60);
    else
        std::snprintf(buf, sizeof(buf), "%ld:%02ld", s / 60, s % 60);
    return buf;
}

// Progress on stderr: a bar redrawn in place at a terminal, else a line at
// every tenth of the work.
class Progress {
public:
    Progress(std::size_t total, bool quiet)
        : m_total(total),
          m_quiet(quiet || total == 0),
          m_tty(::isatty(STDERR_FILENO) != 0),
          m_start(std::chrono::steady_clock::now()) {}

    void advance() {
        const std::size_t done = ++m_done;
        if (m_quiet) return;
        std::lock_guard<std::mutex> lock(m_mutex);
        const double elapsed = seconds();
        if (m_tty) {
            if (done < m_total && elapsed - m_lastDraw < 0.1) return;
            m_lastDraw = elapsed;
            const double rate = elapsed > 0 ? done / elapsed : 0;
            const double left = rate > 0 ? (m_total - done) / rate : -1;
            const int width = 30, filled = int(width * done / m_total);
            std::fprintf(stderr, "\r[%s%s] %zu/%zu  %.1f pictures/s  %s left ",
                         std::string(size_t(filled), '#').c_str(),
                         std::string(size_t(width - filled), ' ').c_str(), done, m_total, rate,
                         clock(left).c_str());
            if (done == m_total) std::fputc('\n', stderr);
        } else {
            const std::size_t tenth = done * 10 / m_total;
            if (tenth <= m_lastTenth) return;
            m_lastTenth = tenth;
            std::fprintf(stderr, "tarvo batch: %zu/%zu pictures (%zu%%), %.1f s\n", done, m_total,
                         tenth * 10, elapsed);
        }
        std::fflush(stderr);
    }

    // Ends a bar cut short by an interruption.
    void stop() {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_quiet && m_tty && m_done < m_total) std::fputc('\n', stderr);
    }

    std::size_t done() const { return m_done; }
    double seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
    }

private:
    std::size_t m_total;
    bool m_quiet, m_tty;
    std::chrono::steady_clock::time_point m_start;
    std::atomic<std::size_t> m_done{0};
    std::mutex m_mutex;
    double m_lastDraw = -1;
    std::size_t m_lastTenth = 0;
};

class BatchBody : public tarvo::ParallelLoopBody {
public:
    BatchBody(const fs::path& in, const fs::path& out, const std::vector<fs::path>& files,
              const std::vector<Step>& chain, std::vector<std::string>& errors,
              std::vector<char>& started, Progress& progress)
        : m_in(in),
          m_out(out),
          m_files(files),
          m_chain(chain),
          m_errors(errors),
          m_started(started),
          m_progress(progress) {}

    void operator()(const tarvo::Range& r) const override {
        for (int i = r.start; i < r.end; i++) {
            if (g_interrupted) return;
            m_started[size_t(i)] = 1;
            std::string error;
            if (!processOne(m_in, m_out, m_files[size_t(i)], m_chain, size_t(i), error))
                m_errors[size_t(i)] = error.empty() ? "failed" : error;
            m_progress.advance();
        }
    }

private:
    const fs::path& m_in;
    const fs::path& m_out;
    const std::vector<fs::path>& m_files;
    const std::vector<Step>& m_chain;
    std::vector<std::string>& m_errors;
    std::vector<char>& m_started;
    Progress& m_progress;
};

}  // namespace

int runBatch(int argc, const char* const* argv) {
    int jobs = 0;
    bool recursive = false, quiet = false;
    std::vector<std::string> folders, chainWords;
    int w = 0;
    for (; w < argc; w++) {
        const std::string word = argv[w];
        if (word == "--") break;
        if (word == "--help" || word == "-h") return printBatchHelp();
        if (word == "--recursive") {
            recursive = true;
        } else if (word == "--quiet") {
            quiet = true;
        } else if (word == "--jobs" || word.rfind("--jobs=", 0) == 0) {
            std::string value;
            if (word == "--jobs") {
                if (w + 1 >= argc) return fail("option '--jobs' needs a value");
                value = argv[++w];
            } else {
                value = word.substr(7);
            }
            char* end = nullptr;
            const long v = std::strtol(value.c_str(), &end, 10);
            if (value.empty() || *end || v < 1 || v > 4096)
                return fail("option '--jobs' needs a whole number in 1..4096, got '" + value + "'");
            jobs = int(v);
        } else if (word.size() > 1 && word[0] == '-') {
            return fail("unknown batch option '" + word + "' (tarvo batch --help shows them)");
        } else {
            folders.push_back(word);
        }
    }
    for (; w < argc; w++) chainWords.push_back(argv[w]);
    if (folders.size() != 2)
        return fail(
            "batch needs an input and an output folder: tarvo batch [options] IN_DIR OUT_DIR -- "
            "OP [options]");
    std::vector<Step> chain;
    std::string error;
    if (!parseChain(chainWords, chain, error)) return fail(error);

    const fs::path inDir = folders[0], outDir = folders[1];
    std::error_code ec;
    if (fs::exists(outDir, ec) && !fs::is_directory(outDir, ec))
        return fail("'" + outDir.string() + "' exists and is not a folder");
    fs::create_directories(outDir, ec);
    if (ec) return fail("cannot create folder '" + outDir.string() + "': " + ec.message());
    if (fs::equivalent(inDir, outDir, ec))
        return fail("the output folder must differ from the input folder");
    std::vector<fs::path> files;
    if (!listPictures(inDir, recursive, outDir, files, error)) return fail(error);

    const std::size_t n = files.size();
    std::vector<std::string> errors(n);
    std::vector<char> started(n, 0);
    Progress progress(n, quiet);

    struct sigaction action, previous;
    std::memset(&action, 0, sizeof(action));
    action.sa_handler = onInterrupt;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    // A shell starting us in the background ignores SIGINT for us; keep that.
    ::sigaction(SIGINT, nullptr, &previous);
    if (previous.sa_handler != SIG_IGN) ::sigaction(SIGINT, &action, nullptr);
    g_interrupted = 0;

    const int threadsBefore = tarvo::getNumThreads();
    if (jobs > 0) tarvo::setNumThreads(jobs);
    BatchBody body(inDir, outDir, files, chain, errors, started, progress);
    if (n > 0) tarvo::parallel_for_(tarvo::Range(0, int(n)), body, double(n));
    if (jobs > 0) tarvo::setNumThreads(threadsBefore);
    ::sigaction(SIGINT, &previous, nullptr);
    const bool interrupted = g_interrupted != 0;
    progress.stop();

    std::size_t failed = 0;
    for (std::size_t i = 0; i < n; i++)
        if (!errors[i].empty()) failed++;
    if (failed) {
        std::fprintf(stderr, "tarvo batch: %zu of %zu failed:\n", failed, n);
        for (std::size_t i = 0; i < n; i++)
            if (!errors[i].empty())
                std::fprintf(stderr, "  %s: %s\n", files[i].string().c_str(), errors[i].c_str());
    }
    if (interrupted) {
        std::size_t notStarted = 0;
        for (char s : started) notStarted += s ? 0 : 1;
        std::fprintf(stderr, "tarvo batch: interrupted; %zu done, %zu not started\n",
                     progress.done(), notStarted);
        return kExitInterrupted;
    }
    if (!quiet && n > 0)
        std::fprintf(stderr, "tarvo batch: %zu pictures in %.1f s, %zu failed\n", n,
                     progress.seconds(), failed);
    if (n == 0 && !quiet)
        std::fprintf(stderr, "tarvo batch: no files in '%s'\n", folders[0].c_str());
    return failed ? 1 : 0;
}

}  // namespace tarvotool
