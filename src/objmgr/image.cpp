// SPDX-License-Identifier: Apache-2.0
// image.cpp -- what of an image is right.
#include "objmgr/image.h"

#include "objmgr/safe_text.h"

bool ImageCheckHalf(const void *half, size_t size, u32 count)
{
    ImageHalf head;
    if (size < sizeof(head) || size > kImageHalfMax)
        return false;
    memcpy(&head, half, sizeof(head));
    const u32 slots = le32toh(head.slots);
    const u32 records = le32toh(head.records);
    const u32 recordsEnd = le32toh(head.recordsEnd);
    const u32 faults = le32toh(head.faults);
    const u32 faultsSize = le32toh(head.faultsSize);
    return le32toh(head.size) == size && le32toh(head.count) == count && slots != 0 &&
           (slots & (slots - 1)) == 0 && slots <= (size - sizeof(head)) / sizeof(ImageSlot) &&
           records >= sizeof(head) + slots * sizeof(ImageSlot) &&
           records % kImageRecordAlign == 0 && recordsEnd >= records && recordsEnd <= size &&
           faults >= sizeof(head) && faults <= size && faultsSize <= size - faults;
}

namespace
{

// A safe text, and behind it a NUL.
bool IsText(const char *text, size_t length)
{
    return text[length] == '\0' && SafeTextIsSafe(text, length);
}

}  // namespace

bool ImageCheckProperties(const char *first, const char *end)
{
    while (first != end) {
        if (end - first < static_cast<ptrdiff_t>(kImagePropertyHeadSize))
            return false;
        const ImageProperty property = ImagePropertyAt(first);
        const size_t length = property.nameLength + 1 + property.textLength + 1;
        if (static_cast<size_t>(end - property.name) < length ||
            property.textLength > kStoreTextMax || !IsText(property.name, property.nameLength) ||
            !IsText(property.text, property.textLength))
            return false;
        first = ImageEndOf(property);
    }
    return true;
}

bool ImageCheckRecord(const void *half, u32 offset)
{
    ImageHalf head;
    ImageRecord record;
    memcpy(&head, half, sizeof(head));
    const u32 begin = le32toh(head.records);
    const u32 end = le32toh(head.recordsEnd);
    if (offset < begin || offset > end || offset % kImageRecordAlign != 0 ||
        end - offset < sizeof(record))
        return false;
    const char *at = static_cast<const char *>(half) + offset;
    memcpy(&record, at, sizeof(record));
    const u32 bytes = le32toh(record.bytes);
    const u32 keyLength = le16toh(record.keyLength);
    const u32 texts = keyLength + 1 + record.unitLength + 1;
    if (bytes > end - offset || bytes < sizeof(record) || bytes - sizeof(record) < texts ||
        keyLength > kStorePathMax || record.unitLength > kImageUnitMax)
        return false;
    const ImageInstance instance = ImageInstanceAt(half, offset);
    return IsText(instance.key, keyLength) && IsText(instance.unit, record.unitLength) &&
           ImageCheckProperties(instance.first, instance.end);
}

ImageText ImageFindDigits(const char *first, const char *end, const char *property)
{
    if (property == nullptr || *property == '\0')
        return {kCimNoSuchProperty, nullptr};
    const size_t length = strlen(property);
    for (const char *at = first; at != end;) {
        const ImageProperty found = ImagePropertyAt(at);
        if (ImageIsDigitForm(found) && found.nameLength - kStoreTimestampSuffixLength == length &&
            memcmp(found.name, property, length) == 0)
            return ImageTextOf(found);
        at = ImageEndOf(found);
    }
    return {kCimNoSuchProperty, nullptr};
}
