// SecFloat as plain float arithmetic.
#include "platform/sec_float.h"

float SecFloat::Multiply(float a, float b) {
    return a * b;
}
