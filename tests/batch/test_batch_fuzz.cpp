// The script reader's fuzz target on its seeds and on every cut and a spread of flipped bytes of
// each, so that the usual build replays what the fuzzer starts from.

#include "batch_test_support.h"

#include "fuzz/fuzz_batchscript.cpp"

TEST(BatchScriptFuzzTarget, SeedsAndTheirDamage)
{
    const std::string folder = std::string(QUENDREL_SOURCE_DIR) + "/tests/data/fuzz/batchscript";
    size_t seeds = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
    {
        const Bytes seed = ReadBytes(entry.path().string());
        ASSERT_FALSE(seed.empty()) << entry.path();
        ++seeds;
        // Each seed loads whole.
        QDEffectCatalogue catalogue;
        catalogue.Register();
        LProcessInterfaceVoid process;
        LList<QDImagePipelineElement> elements;
        EXPECT_EQ(QDBatchScriptLoadMemory(process, seed.data(), seed.size(), catalogue.vBatchFactories,
                                          &catalogue.lFactories, elements),
                  LProcessResultSuccess)
            << entry.path();
        for (size_t n = 0; n < seed.size(); ++n)
        {
            const Bytes cut(seed.begin(), seed.begin() + long(n));
            LLVMFuzzerTestOneInput(cut.data(), cut.size());
        }
        for (size_t at = 0; at < seed.size(); at += 3)
            for (uint8_t flip : {0x01, 0x80, 0xFF})
            {
                Bytes damaged = seed;
                damaged[at] ^= flip;
                LLVMFuzzerTestOneInput(damaged.data(), damaged.size());
            }
    }
    EXPECT_GE(seeds, 3u);
}
