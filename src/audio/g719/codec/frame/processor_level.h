#pragma once

// The instruction sets that the codec has copies for. All copies give the same bits.
enum class ProcessorLevel { BASELINE, AVX2 };

// The highest level that this processor has and the library was built for; the same in every call.
ProcessorLevel processor_level();
