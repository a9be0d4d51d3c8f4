// The changes that CryptMsgControl makes to a SignedData that is held whole.
#include <algorithm>
#include <utility>

#include "platform/cms/params.h"
#include "platform/cms/readable.h"
#include "platform/cms/signed_decoder.h"
#include "platform/cms/signer.h"
#include "platform/der/der.h"
#include "platform/der/normalise.h"

namespace platform {
namespace {

// The caller's element as the message will hold it.
Bytes ElementOf(const CRYPT_DATA_BLOB& blob) {
    if (blob.pbData == nullptr) throw Error(ERROR_INVALID_PARAMETER);
    return Normalise(ViewOf(blob.pbData, blob.cbData));
}

// Empty where not even that can be read.
std::string IdentifierOf(ByteView attribute) {
    try {
        return ParseAttribute(attribute).oid;
    } catch (const Error&) {
        return {};
    }
}

// An attribute that fits among the unsigned ones, nested no deeper than a reader follows.
Bytes AttributeOf(const CRYPT_DATA_BLOB& blob) {
    if (blob.pbData == nullptr) throw Error(ERROR_INVALID_PARAMETER);
    const ByteView given = ViewOf(blob.pbData, blob.cbData);
    try {
        Bytes attribute = Normalise(given, BerReader::kDefaultDepth - kLevelsAroundAttribute);
        RefuseAsUnsigned(ParseAttribute(attribute).oid);
        return attribute;
    } catch (const Error& error) {
        throw Error(error.Code(), error.Detail().empty() ? IdentifierOf(given) : error.Detail());
    }
}

Bytes ChoiceOf(const void* para) {
    Bytes element = ElementOf(RecordAt<CRYPT_DATA_BLOB>(para));
    if (element.front() != der::kSequence) throw Error(CRYPT_E_ASN1_BADTAG);
    return element;
}

void DeleteChoice(std::vector<Bytes>& choices, DWORD index) {
    const std::vector<std::size_t> plain = PlainChoices(choices);
    choices.erase(choices.begin() + static_cast<std::ptrdiff_t>(ItemAt(plain, index)));
}

void AddAttribute(SignedRecords& records, const CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA& para) {
    SignerInfo& signer = ItemAt(records.signers, para.dwSignerIndex);
    Bytes attribute = AttributeOf(para.blob);
    InsertInOrder(signer.unsignedAttributes, std::move(attribute));
    signer.received.clear();
}

void DeleteAttribute(SignedRecords& records, const CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR_PARA& para) {
    SignerInfo& signer = ItemAt(records.signers, para.dwSignerIndex);
    auto& attributes = signer.unsignedAttributes;
    (void)ItemAt(attributes, para.dwUnauthAttrIndex);
    attributes.erase(attributes.begin() + static_cast<std::ptrdiff_t>(para.dwUnauthAttrIndex));
    signer.received.clear();
}

}  // namespace

void SignedBody::Edit(DWORD type, const void* para) {
    // A stream has let the content go and can encode nothing again.
    if (settings_.sink) throw Error(CRYPT_E_CONTROL_TYPE);
    plainCertificates_.reset();
    plainCrls_.reset();
    const long before = SignedDataVersion(records_);
    switch (type) {
        case CMSG_CTRL_ADD_SIGNER:
            AddSigner(SizedRecordAt<CMSG_SIGNER_ENCODE_INFO>(para));
            break;
        case CMSG_CTRL_DEL_SIGNER:
            DeleteSigner(RecordAt<DWORD>(para));
            break;
        case CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR:
            AddAttribute(records_, SizedRecordAt<CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA>(para));
            break;
        case CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR:
            DeleteAttribute(records_, SizedRecordAt<CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR_PARA>(para));
            break;
        case CMSG_CTRL_ADD_CERT:
            records_.certificates.push_back(ChoiceOf(para));
            break;
        case CMSG_CTRL_DEL_CERT:
            DeleteChoice(records_.certificates, RecordAt<DWORD>(para));
            break;
        case CMSG_CTRL_ADD_CRL:
            records_.crls.push_back(ChoiceOf(para));
            break;
        case CMSG_CTRL_DEL_CRL:
            DeleteChoice(records_.crls, RecordAt<DWORD>(para));
            break;
        default:
            throw Error(CRYPT_E_CONTROL_TYPE);
    }
    // A message may have come with another version than its parts ask for, and its reader
    // may go by it: PKCS #7 v1.5 content is told that way.
    const long after = SignedDataVersion(records_);
    if (after != before) records_.version = after;
}

void SignedBody::AddSigner(const CMSG_SIGNER_ENCODE_INFO& info) {
    if (info.HashAlgorithm.pszObjId == nullptr) throw Error(ERROR_INVALID_PARAMETER);
    const Bytes digest = ContentDigest(info.HashAlgorithm.pszObjId);
    const PreparedSigner prepared(info, records_.contentType);
    if (prepared.CoversContent()) RequireOrdinaryContent();
    SignerInfo signer = prepared.Sign(digest);
    ListDigest(records_.digests, signer.digest);
    records_.signers.push_back(std::move(signer));
}

void SignedBody::DeleteSigner(DWORD index) {
    const std::string oid = ItemAt(records_.signers, index).digest.oid;
    records_.signers.erase(records_.signers.begin() + static_cast<std::ptrdiff_t>(index));
    const auto uses = [&](const SignerInfo& signer) { return signer.digest.oid == oid; };
    if (std::any_of(records_.signers.begin(), records_.signers.end(), uses)) return;
    std::erase_if(records_.digests, [&](const Algorithm& listed) { return listed.oid == oid; });
}

}  // namespace platform
