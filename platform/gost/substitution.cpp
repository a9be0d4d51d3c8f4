// Every published substitution block, and the tables made of one.
#include "platform/gost/substitution.h"

#include <bit>
#include <memory>

namespace platform::gost {
namespace {

struct Row {
    std::string_view oid;
    std::array<const char*, 8> digits;  // K1 to K8, one hexadecimal digit for each of 16 inputs
};

constexpr Row kSets[] = {
    {"1.2.643.2.2.30.0",
     {"4A92D80E6B1C7F53", "EB4C6DFA23810759", "581DA342EFC7609B", "7DA1089FE46CB253",
      "6C715FD84A9E03B2", "4BA0721D36859CFE", "DB413F590AE7682C", "1FD057A4923E6B8C"}},
    {"1.2.643.2.2.30.1",
     {"A4568137DCE092BF", "5F402DB91763CEA8", "7FCE94103B526A8D", "4A7C0F28E165DB93",
      "764B9C2A180EFD35", "7624D9F0A15B8EC3", "DE41705A3C8F629B", "13A95B4F867ED02C"}},
    {"1.2.643.2.2.31.0",
     {"42F59108E3BCD7A6", "C9FE813A274D60B5", "D8EC739A15246F0B", "E9B25F710DC6A438",
      "3E59680DAB7C21F4", "8F6B19C5D37A0E24", "9BC0367548EF1A2D", "C652B09D3E7AF418"}},
    {"1.2.643.2.2.31.1",
     {"96328B17A4EFC0D5", "37E98AF0526CB4D1", "E462B3D8CF5A0719", "E7ACD13902B4F856",
      "B5198DF0E423C7A6", "3ADC120B75948FE6", "1D297A608C45F3BE", "BAF50CE8623917D4"}},
    {"1.2.643.2.2.31.2",
     {"84B135092EACD67F", "012A4D5C973FB86E", "EC0A92DB758F3614", "750DB6123ACF4E98",
      "27CF95AB140D68E3", "83264DEBC17FA095", "52AB91C374D06F8E", "04BE8371A296FD5C"}},
    {"1.2.643.2.2.31.3",
     {"1BC29D0F458EA763", "017DB4528EFC9A63", "825049FA37CD6E1B", "36015DA8B297EFC4",
      "8DB0451293CE6FA7", "C9B18E247365A0FD", "A968DE20F35B41C7", "7405A2FEC61BD938"}},
    {"1.2.643.2.2.31.4",
     {"FC2A645079ED1B83", "B634CFE27D805A91", "1CB0FE65AD489372", "15ECA70D62B493F8",
      "0C89D2AB73654EF1", "80F325EB1A47C9D6", "306F1E92D8C4BA57", "1A68FB04C3597D2E"}},
    {"1.2.643.7.1.2.5.1.1",
     {"C462A5B9E8D703F1", "68239A5C1E47BD0F", "B3582FADE174C960", "C821D4F670A53E9B",
      "7F5A816D093EB42C", "5DF692CAB78143E0", "8E25691CF4B0DA37", "17ED05834FA69CB2"}},
};

std::uint8_t Digit(char c) { return static_cast<std::uint8_t>(c <= '9' ? c - '0' : c - 'A' + 10); }

SubstitutionBlock BlockOf(const Row& row) {
    SubstitutionBlock block;
    for (std::size_t i = 0; i < block.size(); ++i) {
        for (std::size_t j = 0; j < 16; ++j) block[i][j] = Digit(row.digits[i][j]);
    }
    return block;
}

}  // namespace

Substitution::Substitution(const SubstitutionBlock& block) : rows(block) {
    for (unsigned place = 0; place < 4; ++place) {
        auto& high = rows[2 * place + 1];
        for (auto& value : high) value = static_cast<std::uint8_t>(value << 4);
        for (unsigned byte = 0; byte < 256; ++byte) {
            const std::uint32_t both = rows[2 * place][byte & 15] | high[byte >> 4];
            bytes[place][byte] = std::rotl(both << (8 * place), 11);
        }
    }
}

const Substitution* FindSubstitution(std::string_view oid) {
    static std::array<std::unique_ptr<const Substitution>, std::size(kSets)> made;
    for (std::size_t i = 0; i < made.size(); ++i) {
        if (kSets[i].oid != oid) continue;
        if (!made[i]) made[i] = std::make_unique<Substitution>(BlockOf(kSets[i]));
        return made[i].get();
    }
    return nullptr;
}

}  // namespace platform::gost
