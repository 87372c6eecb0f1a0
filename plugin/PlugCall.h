// The one calling form of every exported command, and the way to define a command.
#pragma once

#include <climits>
#include <cstdint>

// Result of every command. The host script reads it as a float.
//   text      NUL-terminated argument, may be null
//   value     number argument
//   outBuf1   host memory block: a second input text, or room for an answer
//   outBuf2   second host memory block
//   *Size     declared sizes; never consulted, the script passes room for the longest answer
//   hostData  the host's table of internal entry points (the host bridge reads it)
typedef float (*PlugCall)(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                          int outBuf2Size, char** hostData);

// The seven arguments as one value, so a command body reads like ordinary code.
struct PlugArgs {
    char* text;
    double value;
    char* outBuf1;
    int outBuf1Size;
    char* outBuf2;
    int outBuf2Size;
    char** hostData;
};

namespace plug {

// Bias conventions of the calling form.
constexpr float kTrue = 1.2f;
constexpr float kFalse = 0.2f;
inline float flag(bool b) { return b ? kTrue : kFalse; }
inline float biasedInt(int n) { return static_cast<float>(n) + 0.2f; }
// Integers read from `value` get a small bias before truncation toward zero. NaN and values
// beyond the int range answer INT_MIN, a negative index or offset that the commands refuse, so a
// wild script number never becomes a far address.
inline int intFromValue(double value, double bias) {
    const double v = value + bias;
    if (!(v > -2147483649.0 && v < 2147483648.0)) return INT_MIN;
    return static_cast<int>(v);
}

// Runs a command body; no exception may cross into the host, so any escape answers `onError`.
float guard(float (*body)(const PlugArgs&), const PlugArgs& args, float onError) noexcept;

}  // namespace plug

#define TRIMORA_EXPORT __attribute__((visibility("default")))

// Defines an exported command `name`; the block that follows is its body, reading `a`.
// An exception escaping the body answers `onError`.
#define TRIMORA_COMMAND_OR(name, onError)                                                         \
    static float name##_body(const PlugArgs& a);                                                  \
    extern "C" TRIMORA_EXPORT float name(char* text, double value, char* outBuf1, int outBuf1Size, \
                                         char* outBuf2, int outBuf2Size, char** hostData) {        \
        const PlugArgs args{text, value, outBuf1, outBuf1Size, outBuf2, outBuf2Size, hostData};    \
        return plug::guard(&name##_body, args, (onError));                                         \
    }                                                                                               \
    static float name##_body([[maybe_unused]] const PlugArgs& a)

// Most commands answer -1.0 for "could not".
#define TRIMORA_COMMAND(name) TRIMORA_COMMAND_OR(name, -1.0f)
