// One AccessDescription of an authority (or subject) information access
// extension into CERT_ACCESS_DESCRIPTION, filled in place.
#include <cstddef>

#include <decode/der_reader.h>

namespace halden::decode {

namespace {
static_assert(offsetof(CERT_ACCESS_DESCRIPTION, AccessLocation) == 8 && sizeof(CERT_ACCESS_DESCRIPTION) == 32,
              "CERT_ACCESS_DESCRIPTION layout");
}  // namespace

bool DecodeAuthAccessInfoEntry(DecodeInput *input, DecodeArea *area) {
    BYTE *slot = nullptr;
    if (!reserveZeroedField(area, sizeof(CERT_ACCESS_DESCRIPTION), &slot)) return false;
    auto *description = reinterpret_cast<CERT_ACCESS_DESCRIPTION *>(slot);
    if (input->cbData == 0) return true;
    DecodeInput content;
    if (!readTaggedValue(input, 0x30, &content)) return false;
    if (content.cbData == 0) return true;

    DecodeInput method;
    if (!readTaggedValue(&content, 0x06, &method)) return false;
    char *text = nullptr;
    if (!detail::oidTextToExtra(area, &method, &text)) return false;
    if (description) description->pszAccessMethod = text;
    // An empty location fails in blb2GeneralName rather than reading on.
    return blb2GeneralName(&content, description ? &description->AccessLocation : nullptr, area);
}

}  // namespace halden::decode
