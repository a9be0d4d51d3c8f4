# The tests of the codec, which is also built and tested alone.
include(${CMAKE_CURRENT_LIST_DIR}/../cmake/tests.cmake)

# Its results are held against OpenSSL's.
find_package(OpenSSL 3 REQUIRED COMPONENTS Crypto)
add_test_program(asn1rt asn1rt asn1rt OpenSSL::Crypto)
# Against OpenSSL's own encoders.
add_test_program(asn1data asn1data asn1data OpenSSL::Crypto)

# The generator, and code that it writes for a schema of the tests' own.
add_schemas(asn1gen_samples ${CMAKE_BINARY_DIR}/generated-samples
  ${KESTREL_ROOT}/tests/asn1gen/Samples.asn1)
add_test_program(asn1gen asn1gen asn1gen_samples asn1gen_parts)
target_compile_definitions(test_asn1gen PRIVATE ASN1GEN="$<TARGET_FILE:asn1gen>")
add_dependencies(test_asn1gen asn1gen)
