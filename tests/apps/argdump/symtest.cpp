// trimora_symtest.so: one exported function, one exported object, hidden ones, and an import.
#include <cstdio>

extern "C" {

__attribute__((visibility("default"))) int trimora_symtest_visible(int x);
__attribute__((visibility("default"))) int trimora_symtest_visible_data = 42;

int trimora_symtest_hidden(int x);
int trimora_symtest_hidden_data = 7;

int trimora_symtest_hidden(int x) { return x * 3 + trimora_symtest_hidden_data; }

int trimora_symtest_visible(int x) {
    std::puts("trimora_symtest");  // an undefined import: must not be listed
    return trimora_symtest_hidden(x) + trimora_symtest_visible_data;
}

}  // extern "C"
