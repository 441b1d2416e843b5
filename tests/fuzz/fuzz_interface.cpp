// The C interface without the masked smoothing (fuzz_masked.cpp): the unmasked family and its older forms,
// half resolution and binomial smoothing, the mask alone, with good arguments and with spoilt ones.
#include "fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    static const bool isReady = (fuzz_installAllocator(), true);
    (void)isReady;
    static const std::vector<test_export> exports = [] {
        std::vector<test_export> all = test_exports();
        std::erase_if(all, [](const test_export& each) { return each.masked; });
        return all;
    }();
    test_random random = {0, bytes, size};
    const bool onThreads = test_randomInt(&random, 0, 15) == 1;
    // As many of the first ones, which have more paths, as of the half-resolution family.
    const auto last = test_chance(&random, 50) ? 6 : std::ssize(exports) - 1;
    test_call call =
        test_randomCall(&random, exports[static_cast<size_t>(test_randomRange(&random, 0, last))]);
    if (test_chance(&random, 50))
        test_spoil(&random, &call);
    fuzz_runEverywhere(call, onThreads);
    return 0;
}
