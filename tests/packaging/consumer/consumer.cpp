// The least host: asks the library without ever initialising it.
#include <orvo/orvo.h>
#include <string>

int main() {
    std::string none;
    std::string app = "com.example.app";
    constexpr int kUnknownOperation = 99;
    const bool answered =
        getData(ORVO_GET_FINAL_ENDPOINT, none) == -1 && getData(kUnknownOperation, app) == 0;
    return answered ? 0 : 1;
}
