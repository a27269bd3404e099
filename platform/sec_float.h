// The framework's float arithmetic (libzorv-util).
#pragma once

class SecFloat {
public:
    /// The plain 32-bit float product for finite operands. May throw; the
    /// library's operations expect that.
    static float Multiply(float a, float b);
};
