// What is written for each definition, by kind of code. All work on a model in which no
// fault was found.
#pragma once

#include <string>

#include "asn1/asn1data/generator/model.h"
#include "asn1/asn1data/generator/writer.h"

namespace asn1gen {

// The text of records.h: every record and alias of all modules.
std::string EmitRecords(const Model& model);
// The constants of named numbers and bits: "T_name".
void EmitConstants(Writer& out, const Definition& definition);
// The notation of a definition as a comment.
void EmitNotation(Writer& out, const Definition& definition);

// Declaration and definition of asn1E_T, asn1D_T, asn1Copy_T and ASN1C_T.
void EmitEncoder(Writer& out, const Definition& definition);
void EmitDecoder(Writer& out, const Definition& definition);
void EmitCopy(Writer& out, const Definition& definition);
void EmitDeclarations(Writer& out, const Definition& definition);
void EmitControlClass(Writer& out, const Definition& definition);
void EmitControlFunctions(Writer& out, const Definition& definition);

// A function of one parameter list and body; parameters that the body does not mention lose
// their names.
struct Parameter {
    std::string type;
    std::string name;
};
void EmitFunction(Writer& out, const std::string& name, const std::vector<Parameter>& parameters,
                  const Writer& body);

// "asn1data/PKIXTSP", the module's files without their ending.
[[nodiscard]] std::string FileStem(const Module& module);
std::string EmitHeader(const Model& model, const Module& module);
std::string EmitSource(const Model& model, const Module& module);

}  // namespace asn1gen
