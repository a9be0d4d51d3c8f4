// Writes the control classes: encode, decode and copy by message buffer.
#include "asn1/asn1data/generator/emit.h"

namespace asn1gen {

void EmitDeclarations(Writer& out, const Definition& definition) {
    const std::string& name = definition.name;
    out.Blank();
    out.Line("int asn1E_" + name + "(ASN1Context& context, const " + name +
             "& value, int tagging);");
    out.Line("int asn1D_" + name + "(ASN1Context& context, " + name +
             "& value, int tagging, int length);");
    out.Line("int asn1Copy_" + name + "(ASN1Context& owner, const " + name + "& source, " + name +
             "& destination);");
}

void EmitControlClass(Writer& out, const Definition& definition) {
    const std::string& name = definition.name;
    out.Blank();
    out.Open("class ASN1C_" + name + " : public ASN1CType {");
    out.Line("public:");
    out.Line("ASN1C_" + name + "(ASN1MessageBufferIF& buffer, " + name + "& record);");
    out.Line("int Encode() override;");
    out.Line("int Decode() override;");
    out.Line("private:");
    out.Line(name + "& record_;");
    out.Close("};");
}

void EmitControlFunctions(Writer& out, const Definition& definition) {
    const std::string& name = definition.name;
    const std::string control = "ASN1C_" + name;
    out.Blank();
    out.Line(control + "::" + control + "(ASN1MessageBufferIF& buffer, " + name + "& record)");
    out.Line("    : ASN1CType(buffer), record_(record) {}");
    out.Line("int " + control + "::Encode() { return EncodeWith(asn1E_" + name + ", record_); }");
    out.Line("int " + control + "::Decode() { return DecodeWith(asn1D_" + name + ", record_); }");
}

}  // namespace asn1gen
