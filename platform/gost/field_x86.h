// Numbers of 256 bits on x86-64, where the compiler takes twice the time over carries: sums and
// differences modulo p for every processor, and products modulo 2^256 less a small number for
// those with two chains of carries (BMI2 and ADX).
#pragma once

#if defined(__x86_64__)

#include <cpuid.h>

#include <array>
#include <cstdint>

namespace platform::gost {

using Number256 = std::array<std::uint64_t, 4>;

// All numbers below p.
inline Number256 AddModulo(const Number256& a, const Number256& b, const Number256& p) {
    Number256 sum = a;
    Number256 less;
    __asm__(
        "xorl %%ecx, %%ecx\n\t"
        "addq (%[b]), %[s0]\n\tadcq 8(%[b]), %[s1]\n\t"
        "adcq 16(%[b]), %[s2]\n\tadcq 24(%[b]), %[s3]\n\t"
        "adcq $0, %%rcx\n\t"
        "movq %[s0], %[l0]\n\tmovq %[s1], %[l1]\n\tmovq %[s2], %[l2]\n\tmovq %[s3], %[l3]\n\t"
        "subq (%[p]), %[l0]\n\tsbbq 8(%[p]), %[l1]\n\t"
        "sbbq 16(%[p]), %[l2]\n\tsbbq 24(%[p]), %[l3]\n\t"
        "sbbq $0, %%rcx\n\t"
        "cmovncq %[l0], %[s0]\n\tcmovncq %[l1], %[s1]\n\t"
        "cmovncq %[l2], %[s2]\n\tcmovncq %[l3], %[s3]"
        : [s0] "+r"(sum[0]), [s1] "+r"(sum[1]), [s2] "+r"(sum[2]), [s3] "+r"(sum[3]),
          [l0] "=&r"(less[0]), [l1] "=&r"(less[1]), [l2] "=&r"(less[2]), [l3] "=&r"(less[3])
        : [b] "r"(b.data()), [p] "r"(p.data())
        : "rcx", "cc", "memory");
    return sum;
}

inline Number256 SubModulo(const Number256& a, const Number256& b, const Number256& p) {
    Number256 difference = a;
    Number256 back;
    __asm__(
        "subq (%[b]), %[d0]\n\tsbbq 8(%[b]), %[d1]\n\t"
        "sbbq 16(%[b]), %[d2]\n\tsbbq 24(%[b]), %[d3]\n\t"
        "sbbq %%rcx, %%rcx\n\t"
        "movq (%[p]), %[m0]\n\tmovq 8(%[p]), %[m1]\n\t"
        "movq 16(%[p]), %[m2]\n\tmovq 24(%[p]), %[m3]\n\t"
        "andq %%rcx, %[m0]\n\tandq %%rcx, %[m1]\n\tandq %%rcx, %[m2]\n\tandq %%rcx, %[m3]\n\t"
        "addq %[m0], %[d0]\n\tadcq %[m1], %[d1]\n\tadcq %[m2], %[d2]\n\tadcq %[m3], %[d3]"
        : [d0] "+r"(difference[0]), [d1] "+r"(difference[1]), [d2] "+r"(difference[2]),
          [d3] "+r"(difference[3]), [m0] "=&r"(back[0]), [m1] "=&r"(back[1]), [m2] "=&r"(back[2]),
          [m3] "=&r"(back[3])
        : [b] "r"(b.data()), [p] "r"(p.data())
        : "rcx", "cc", "memory");
    return difference;
}

inline bool HasTwoCarries() {
    static const bool has = [] {
        unsigned a = 0;
        unsigned b = 0;
        unsigned c = 0;
        unsigned d = 0;
        return __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 && (b >> 8 & b >> 19 & 1) != 0;
    }();
    return has;
}

// One row of the product: four products of a word of b (in rdx) go on top of what stands there.
#define KESTREL_ROW(w0, w1, w2, w3, w4)                                                       \
    "xorl %%eax, %%eax\n\t"                                                                   \
    "mulx (%%rsi), %%rcx, %%rax\n\t"                                                          \
    "adcx %%rcx, %%" w0 "\n\tadox %%rax, %%" w1                                               \
    "\n\tmulx 8(%%rsi), %%rcx, %%rax\n\t"                                                     \
    "adcx %%rcx, %%" w1 "\n\tadox %%rax, %%" w2                                               \
    "\n\tmulx 16(%%rsi), %%rcx, %%rax\n\t"                                                    \
    "adcx %%rcx, %%" w2 "\n\tadox %%rax, %%" w3 "\n\tmulx 24(%%rsi), %%rcx, %%" w4            \
    "\n\tmovl $0, %%eax\n\tadcx %%rcx, %%" w3 "\n\tadox %%rax, %%" w4 "\n\tadcx %%rax, %%" w4 \
    "\n\t"

// The product in r8 to r15, reduced: the upper half times the fold goes on top of the lower one,
// and so does what went past it, a number of some 33 bits. With the fold added, a carry tells
// that the modulus is to go.
#define KESTREL_FOLD                                                                     \
    "movq %[fold], %%rdx\n\t"                                                            \
    "xorl %%eax, %%eax\n\t"                                                              \
    "mulx %%r12, %%rcx, %%rax\n\tadcx %%rcx, %%r8\n\tadox %%rax, %%r9\n\t"               \
    "mulx %%r13, %%rcx, %%rax\n\tadcx %%rcx, %%r9\n\tadox %%rax, %%r10\n\t"              \
    "mulx %%r14, %%rcx, %%rax\n\tadcx %%rcx, %%r10\n\tadox %%rax, %%r11\n\t"             \
    "mulx %%r15, %%rcx, %%rax\n\tmovl $0, %%r12d\n\tadcx %%rcx, %%r11\n\t"               \
    "adox %%r12, %%rax\n\tadcx %%r12, %%rax\n\t"                                         \
    "imulq %%rdx, %%rax\n\t"                                                             \
    "addq %%rax, %%r8\n\tadcq $0, %%r9\n\tadcq $0, %%r10\n\tadcq $0, %%r11\n\t"          \
    "sbbq %%rcx, %%rcx\n\t"                                                              \
    "movq %%r8, %%r12\n\tmovq %%r9, %%r13\n\tmovq %%r10, %%r14\n\tmovq %%r11, %%r15\n\t" \
    "addq %%rdx, %%r12\n\tadcq $0, %%r13\n\tadcq $0, %%r14\n\tadcq $0, %%r15\n\t"        \
    "sbbq $0, %%rcx\n\t"                                                                 \
    "testq %%rcx, %%rcx\n\t"                                                             \
    "cmovnzq %%r12, %%r8\n\tcmovnzq %%r13, %%r9\n\t"                                     \
    "cmovnzq %%r14, %%r10\n\tcmovnzq %%r15, %%r11\n\t"                                   \
    "movq %%r8, %[p0]\n\tmovq %%r9, %[p1]\n\tmovq %%r10, %[p2]\n\tmovq %%r11, %[p3]"

// Both factors any numbers of 256 bits; fold below 2^32. The result is below 2^256 - fold.
inline Number256 MultiplyFolding(const Number256& a, const Number256& b, std::uint64_t fold) {
    std::uint64_t product[4];  // reached without a register in any build
    __asm__(
        "movq (%%rdi), %%rdx\n\t"
        "mulx (%%rsi), %%r8, %%r9\n\t"
        "mulx 8(%%rsi), %%rcx, %%r10\n\taddq %%rcx, %%r9\n\t"
        "mulx 16(%%rsi), %%rcx, %%r11\n\tadcq %%rcx, %%r10\n\t"
        "mulx 24(%%rsi), %%rcx, %%r12\n\tadcq %%rcx, %%r11\n\t"
        "adcq $0, %%r12\n\t"
        "movq 8(%%rdi), %%rdx\n\t" KESTREL_ROW("r9", "r10", "r11", "r12", "r13")
        "movq 16(%%rdi), %%rdx\n\t" KESTREL_ROW("r10", "r11", "r12", "r13", "r14")
        "movq 24(%%rdi), %%rdx\n\t" KESTREL_ROW("r11", "r12", "r13", "r14", "r15")
        KESTREL_FOLD
        : [p0] "=m"(product[0]), [p1] "=m"(product[1]), [p2] "=m"(product[2]),
          [p3] "=m"(product[3])
        : "S"(a.data()), "D"(b.data()), [fold] "m"(fold)
        : "rax", "rcx", "rdx", "r8", "r9", "r10", "r11", "r12", "r13", "r14", "r15", "cc", "memory");
    return {product[0], product[1], product[2], product[3]};
}

// The square of any number of 256 bits, with each product of two different words made once.
inline Number256 SquareFolding(const Number256& a, std::uint64_t fold) {
    std::uint64_t product[4];
    __asm__(
        "movq (%%rsi), %%rdx\n\t"
        "mulx 8(%%rsi), %%r9, %%r10\n\t"
        "mulx 16(%%rsi), %%rcx, %%r11\n\taddq %%rcx, %%r10\n\t"
        "mulx 24(%%rsi), %%rcx, %%r12\n\tadcq %%rcx, %%r11\n\tadcq $0, %%r12\n\t"
        "movq 8(%%rsi), %%rdx\n\t"
        "mulx 16(%%rsi), %%rcx, %%rax\n\taddq %%rcx, %%r11\n\tadcq %%rax, %%r12\n\t"
        "movl $0, %%r13d\n\tadcq $0, %%r13\n\t"
        "mulx 24(%%rsi), %%rcx, %%rax\n\taddq %%rcx, %%r12\n\tadcq %%rax, %%r13\n\t"
        "movq 16(%%rsi), %%rdx\n\t"
        "mulx 24(%%rsi), %%rcx, %%r14\n\taddq %%rcx, %%r13\n\tadcq $0, %%r14\n\t"
        // Twice that, and the squares of the words.
        "addq %%r9, %%r9\n\tadcq %%r10, %%r10\n\tadcq %%r11, %%r11\n\tadcq %%r12, %%r12\n\t"
        "adcq %%r13, %%r13\n\tadcq %%r14, %%r14\n\tmovl $0, %%r15d\n\tadcq $0, %%r15\n\t"
        "movq (%%rsi), %%rdx\n\tmulx %%rdx, %%r8, %%rcx\n\taddq %%rcx, %%r9\n\t"
        "movq 8(%%rsi), %%rdx\n\tmulx %%rdx, %%rcx, %%rax\n\t"
        "adcq %%rcx, %%r10\n\tadcq %%rax, %%r11\n\t"
        "movq 16(%%rsi), %%rdx\n\tmulx %%rdx, %%rcx, %%rax\n\t"
        "adcq %%rcx, %%r12\n\tadcq %%rax, %%r13\n\t"
        "movq 24(%%rsi), %%rdx\n\tmulx %%rdx, %%rcx, %%rax\n\t"
        "adcq %%rcx, %%r14\n\tadcq %%rax, %%r15\n\t" KESTREL_FOLD
        : [p0] "=m"(product[0]), [p1] "=m"(product[1]), [p2] "=m"(product[2]), [p3] "=m"(product[3])
        : "S"(a.data()), [fold] "m"(fold)
        : "rax", "rcx", "rdx", "r8", "r9", "r10", "r11", "r12", "r13", "r14", "r15", "cc",
          "memory");
    return {product[0], product[1], product[2], product[3]};
}

#undef KESTREL_ROW
#undef KESTREL_FOLD

}  // namespace platform::gost

#endif
