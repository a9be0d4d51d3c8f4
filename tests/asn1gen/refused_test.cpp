// Schemas that the generator refuses, with the place and the words.
#include <gtest/gtest.h>

#include <string>

#include "asn1/asn1data/generator/generate.h"
#include "tests/asn1rt/support.h"

namespace {

using asn1gen::Generate;
using asn1rt::Repeat;

// What is reported for lines within a module; they are 2 and on.
std::string Errors(const std::string& body) {
    const asn1gen::Result result =
        Generate({{"in", "M DEFINITIONS IMPLICIT TAGS ::= BEGIN\n" + body + "\nEND\n"}});
    EXPECT_NE(result.errors.empty(), result.files.empty()) << body;
    return result.errors;
}

struct Row {
    std::string body;
    std::string errors;
};

TEST(Refused, Words) {
    const Row rows[] = {
        {"A ::= INTEGER #", "in:2:15: unexpected byte 0x23\n"},
        {"A ::= INTEGER -- no end -- \x80", "in:2:28: unexpected byte 0x80\n"},
        {"/* a /* b */\nA ::= NULL",
         "in:2:1: this comment has no end\n"
         "in:5:1: expected an assignment or 'END', found the end of the file\n"},
        {"a INTEGER ::= 007", "in:2:15: a number does not begin with 0\n"},
        {"a INTEGER ::= 9223372036854775808",
         "in:2:15: the number 9223372036854775808 does not fit in 64 bits\n"},
        {"A ::= SEQUENCE { a BIT STRING DEFAULT '012'B }",
         "in:2:39: this quoted string holds a wrong digit\n"},
        {"A ::= INTEGER (\"x",
         "in:2:16: this text has no end\n"
         "in:4:1: expected a number, found the end of the file\n"},
    };
    for (const Row& row : rows) EXPECT_EQ(Errors(row.body), row.errors) << row.body;
}

TEST(Refused, Notation) {
    const Row rows[] = {
        {"A ::= CLASS { &id INTEGER }", "in:2:7: CLASS is not supported\n"},
        {"A MACRO ::= BEGIN", "in:2:1: MACRO is not supported\n"},
        {"A { B } ::= SEQUENCE { b B }", "in:2:1: parameterised types are not supported\n"},
        {"A ::= B { C }", "in:2:7: parameterised types are not supported\n"},
        {"A ::= B.&id", "in:2:7: references with a dot are not supported\n"},
        {"A ::= b < B", "in:2:7: selection types are not supported\n"},
        {"A ::= SEQUENCE { a NULL, COMPONENTS OF B }", "in:2:26: COMPONENTS OF is not supported\n"},
        {"A ::= SEQUENCE { ..., [[ a NULL ]] }", "in:2:23: version brackets are not supported\n"},
        {"A ::= SEQUENCE { ..., a NULL, ... }",
         "in:2:31: a second extension mark is not supported\n"},
        {"A ::= INTEGER ({B})", "in:2:16: table constraints are not supported\n"},
        {"A ::= IA5String (FROM (\"a\"))",
         "in:2:18: a constraint with FROM is not supported here\n"},
        {"A ::= IA5String (\"a\")", "in:2:18: a constraint to a text is not supported\n"},
        {"A ::= CHOICE { a NULL OPTIONAL }",
         "in:2:23: an alternative of a CHOICE is neither OPTIONAL nor DEFAULT\n"},
        {"A ::= CHOICE { ... }", "in:2:7: a CHOICE without alternatives\n"},
        {"A ::= SEQUENCE { a NULL b NULL }", "in:2:25: expected '}', found 'b'\n"},
        {"A ::= SEQUENCE { NULL }", "in:2:18: expected the name of a component, found 'NULL'\n"},
        {"A ::= SEQUENCE OF", "in:3:1: expected a type, found 'END'\n"},
        {"A ::= BIT", "in:3:1: expected 'STRING', found 'END'\n"},
        {"A ::= ENUMERATED { }", "in:2:20: expected a name, found '}'\n"},
        {"A = INTEGER", "in:2:3: unexpected byte 0x3D\nin:2:5: expected '::=', found 'INTEGER'\n"},
        {"A ::= [-1] NULL\nB ::= [536870912] NULL",
         "in:2:7: the number of a tag must be from 0 to 536870911\n"
         "in:3:7: the number of a tag must be from 0 to 536870911\n"},
        {"A ::= REAL\nB ::= INTEGER\na INTEGER ::= -\nb BOOLEAN ::= TRUE\nC ::= REAL",
         "in:2:7: REAL is not supported\n"
         "in:5:1: expected a number, found 'b'\n"
         "in:6:7: REAL is not supported\n"},
        {"A ::= " + Repeat("SEQUENCE OF ", 70) + "NULL", "in:2:775: nested too deeply\n"},
        {"A ::= " + Repeat("[1] EXPLICIT ", 17) + "NULL",
         "in:2:20: too many tags one within the other\n"},
    };
    for (const Row& row : rows) EXPECT_EQ(Errors(row.body), row.errors) << row.body;
}

TEST(Refused, Meaning) {
    const Row rows[] = {
        {"a INTEGER ::= 1\na INTEGER ::= 2", "in:3:1: the value 'a' is defined twice\n"},
        {"A ::= SEQUENCE { b SET { } }\nA-b ::= NULL",
         "in:2:20: the type here would be named 'A_b', which is taken\n"},
        {"A-c ::= NULL\nA ::= BIT STRING { c(1) }", "in:3:20: the name 'A_c' is taken\n"},
        {"New ::= NULL", "in:2:1: the name 'New' is taken\n"},
        {"A ::= B\nB ::= C\nC ::= B\nD ::= SEQUENCE { a D-x }\nD-x ::= D-x",
         "in:3:1: 'B' is defined by nothing but itself\n"
         "in:4:1: 'C' is defined by nothing but itself\n"
         "in:6:1: 'D_x' is defined by nothing but itself\n"},
        {"A ::= SEQUENCE { a B OPTIONAL }\nB ::= SET { a [0] A }",
         "in:2:1: 'A' contains itself by value; only a list or a CHOICE may lead back to it\n"
         "in:3:1: 'B' contains itself by value; only a list or a CHOICE may lead back to it\n"},
        {"A ::= CHOICE { a NULL, b A }", "in:2:1: 'A' is an alternative of itself\n"},
        {"A ::= CHOICE { a [0] NULL, b INTEGER, c [0] SEQUENCE { } }",
         "in:2:39: 'c' cannot be told from 'a' by its tag\n"},
        {"A ::= CHOICE { a INTEGER, b CHOICE { c NULL, d INTEGER } }",
         "in:2:27: 'b' cannot be told from 'a' by its tag\n"},
        {"A ::= CHOICE { a INTEGER, b ANY }", "in:2:27: 'b' cannot be told from 'a' by its tag\n"},
        {"A ::= SEQUENCE { a INTEGER OPTIONAL, b NULL DEFAULT NULL, c INTEGER }",
         "in:2:59: 'c' cannot be told from 'a' by its tag\n"},
        {"A ::= SEQUENCE { a ANY OPTIONAL, b NULL }",
         "in:2:34: 'b' cannot be told from 'a' by its tag\n"},
        {"A ::= SEQUENCE { a INTEGER OPTIONAL, b NULL, c INTEGER }", ""},
        {"A ::= SET { a INTEGER, b INTEGER }", "in:2:24: 'b' cannot be told from 'a' by its tag\n"},
        {"A ::= SET { a ANY }",
         "in:2:13: a CHOICE or ANY without a tag within a SET is not supported\n"},
        {"A ::= SEQUENCE { a NULL, a INTEGER }", "in:2:26: the name 'a' is used twice\n"},
        {"A ::= SEQUENCE { a INTEGER, b ANY DEFINED BY c }",
         "in:2:29: there is no 'c' beside this one\n"},
        {"A ::= ENUMERATED { a(1), b(1), a(2) }",
         "in:2:26: the number 1 is used twice\nin:2:32: the name 'a' is used twice\n"},
        {"A ::= ENUMERATED { a(4294967296) }", "in:2:20: the number of 'a' is out of range\n"},
        {"A ::= INTEGER (5..1)", "in:2:16: this constraint has no values\n"},
        {"A ::= INTEGER (SIZE (1))", "in:2:16: this constraint does not fit its type\n"},
        {"A ::= SEQUENCE { a INTEGER (0..5) DEFAULT 6 }",
         "in:2:43: this default is outside its constraint\n"},
        {"A ::= SEQUENCE { a BOOLEAN DEFAULT 0, b ENUMERATED { c } DEFAULT d }",
         "in:2:36: expected TRUE or FALSE\nin:2:66: 'd' is not defined\n"},
        {"a INTEGER ::= b\nb INTEGER ::= a",
         "in:2:15: the values behind this one name one another in a circle\n"
         "in:3:15: the values behind this one name one another in a circle\n"},
        {"a OBJECT IDENTIFIER ::= { iso(1) b 2 }", "in:2:34: 'b' is not defined\n"},
        {"a IA5String ::= \"x\"", "in:2:1: values of this type are not supported\n"},
    };
    for (const Row& row : rows) EXPECT_EQ(Errors(row.body), row.errors) << row.body;
}

TEST(Refused, Modules) {
    struct Case {
        std::string first, second;
        std::string errors;
    };
    const std::string other = "N DEFINITIONS ::= BEGIN EXPORTS A; A ::= NULL B ::= NULL END";
    const Case rows[] = {
        {"m DEFINITIONS", other, "1:1:1: expected the name of a module, found 'm'\n"},
        {"", other, "1:1:1: expected the name of a module, found the end of the file\n"},
        {"M DEFINITIONS AUTOMATIC TAGS ::= BEGIN END", other,
         "1:1:15: AUTOMATIC TAGS is not supported\n"},
        {"M DEFINITIONS EXTENSIBILITY IMPLIED ::= BEGIN END", other,
         "1:1:15: EXTENSIBILITY IMPLIED is not supported\n"},
        {"N DEFINITIONS ::= BEGIN END", other, "2:1:1: the module 'N' is there twice\n"},
        {"M DEFINITIONS ::= BEGIN A ::= INTEGER END", other,
         "2:1:36: the type 'A' is defined twice\n"},
        {"M DEFINITIONS ::= BEGIN C ::= A END", other, "1:1:31: 'A' is not defined\n"},
        {"M DEFINITIONS ::= BEGIN IMPORTS A FROM O; C ::= NULL END", other,
         "1:1:40: no module 'O' is given\n"},
        {"M DEFINITIONS ::= BEGIN IMPORTS B, D FROM N; C ::= NULL END", other,
         "1:1:33: 'N' has no 'B' to import\n1:1:36: 'N' has no 'D' to import\n"},
        {"M DEFINITIONS ::= BEGIN IMPORTS A FROM N { iso(1) }; C ::= A END", other, ""},
    };
    for (const Case& row : rows) {
        EXPECT_EQ(Generate({{"1", row.first}, {"2", row.second}}).errors, row.errors) << row.first;
    }
}

// Long chains end in a message, not at the end of the stack.
TEST(Refused, ChainsWithoutEnd) {
    std::string references;
    std::string choices;
    std::string values;
    for (int i = 0; i < 20000; ++i) {
        const std::string number = std::to_string(i);
        const std::string next = std::to_string(i + 1);
        references += "A" + number + " ::= A" + next + "\n";
        choices += "B" + number + " ::= CHOICE { a B" + next + " }\n";
        values += "c" + number + " INTEGER ::= c" + next + "\n";
    }
    EXPECT_NE(Errors(references + "A20000 ::= NULL").find("too many references"),
              std::string::npos);
    EXPECT_NE(Errors(choices + "B20000 ::= NULL").find("nested too deeply"), std::string::npos);
    EXPECT_NE(Errors(values + "c20000 INTEGER ::= 1").find("in a circle"), std::string::npos);
}

}  // namespace
