// The replay driver linked with each fuzz target for ordinary builds (g++ or clang, no libFuzzer):
//
//   <Target>Replay [--write-seeds DIR] [FILE|DIR ...]
//
// runs the target's seeds and then every given file (every regular file of a given directory, in
// name order) through LLVMFuzzerTestOneInput. A finding aborts, so the test fails. A missing
// directory is skipped: a target without recorded findings has no regression folder. With
// --write-seeds the seeds are also written to DIR, one file each, for a fuzzing run to start from.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "FuzzSupport.h"

#if defined(__SANITIZE_ADDRESS__)
#define KA_FUZZ_MALLOC_HOOKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KA_FUZZ_MALLOC_HOOKS 1
#endif
#endif
#ifdef KA_FUZZ_MALLOC_HOOKS
// Every AddressSanitizer runtime has it, though not every compiler ships its header.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*malloc_hook)(const volatile void*,
                                                                             std::size_t),
                                                         void (*free_hook)(const volatile void*));
#endif

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

namespace fs = std::filesystem;

#ifdef KA_FUZZ_MALLOC_HOOKS
// The same single-allocation limit as the fuzzing runs (-malloc_limit_mb), so that an input kept
// for an allocation the input does not justify fails here too, where the tests let the allocator
// return null.
constexpr std::size_t kMallocLimit = std::size_t(256) << 20;

void OnMalloc(const volatile void*, std::size_t size) {
    if (size > kMallocLimit) {
        std::fprintf(stderr, "replay: allocation of %zu bytes exceeds the fuzzing limit\n", size);
        std::abort();
    }
}

void OnFree(const volatile void*) {}
#endif

std::string ReadFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "replay: cannot read %s\n", path.c_str());
        std::exit(2);
    }
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void Run(const std::string& input, const std::string& name) {
    std::fprintf(stderr, "replay: %s (%zu bytes)\n", name.c_str(), input.size());
    // An exact copy, so that a read past the input is reported as it is under libFuzzer.
    ka_fuzz::Block copy(input);
    LLVMFuzzerTestOneInput(copy.begin(), copy.size());
}

}  // namespace

int main(int argc, char** argv) {
#ifdef KA_FUZZ_MALLOC_HOOKS
    __sanitizer_install_malloc_and_free_hooks(OnMalloc, OnFree);
#endif
    if (LLVMFuzzerInitialize != nullptr) {
        LLVMFuzzerInitialize(&argc, &argv);
    }
    std::vector<std::string> args(argv + 1, argv + argc);
    std::string seedDir;
    if (args.size() >= 2 && args[0] == "--write-seeds") {
        seedDir = args[1];
        args.erase(args.begin(), args.begin() + 2);
    }

    const std::vector<std::string> seeds = ka_fuzz::Seeds();
    if (!seedDir.empty()) {
        fs::create_directories(seedDir);
        for (std::size_t i = 0; i < seeds.size(); ++i) {
            char name[32];
            std::snprintf(name, sizeof name, "seed-%03zu", i);
            std::ofstream(fs::path(seedDir) / name, std::ios::binary) << seeds[i];
        }
    }
    std::size_t count = 0;
    for (std::size_t i = 0; i < seeds.size(); ++i) {
        Run(seeds[i], "seed " + std::to_string(i));
        ++count;
    }

    for (const std::string& arg : args) {
        const fs::path path(arg);
        if (fs::is_directory(path)) {
            std::vector<fs::path> files;
            for (const fs::directory_entry& e : fs::directory_iterator(path)) {
                if (e.is_regular_file()) {
                    files.push_back(e.path());
                }
            }
            std::sort(files.begin(), files.end());
            for (const fs::path& f : files) {
                Run(ReadFile(f), f.string());
                ++count;
            }
        } else if (fs::exists(path)) {
            Run(ReadFile(path), path.string());
            ++count;
        }
    }
    std::printf("replay: %zu inputs, no findings\n", count);
    return 0;
}
