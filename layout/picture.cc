// PICTURE analysis: one left-to-right pass over the text that counts
// positions, works out the scale from P and V, and finds the class. Called
// by close_data_entry for every elementary entry. It validates nothing.
#include <cstring>

#include "layout/layout.h"

namespace {

// Room for the 35 characters of count text that are ever looked at.
constexpr std::size_t COUNT_WIDTH = 35;

// The number at the head of at most `width` characters of `text`, read the
// way atoi reads it.
std::int32_t read_count(const char *text, std::size_t width)
{
    char count_text[COUNT_WIDTH + 1];
    copy_text(count_text, text, width);
    return text_to_int(count_text);
}

// The V rule: sets the scale from what follows the V at `pos`, or marks
// that P letters behind it stand after the point.
void apply_v_rule(const char *pic, std::size_t pos, PictureInfo &info, bool &p_after_point)
{
    if (info.scale != 0)  // P letters or an earlier V have decided
        return;
    const char *rest = pic + pos + 1;
    if (*rest == 'P') {
        p_after_point = true;
        return;
    }
    // deliberate: the last parenthesis behind the V decides, and only its
    // first two count characters are read: V99(4) has scale 4, V9(123) 12.
    const char *last_paren = std::strrchr(rest, '(');
    if (last_paren != nullptr)
        info.scale = read_count(last_paren + 1, 2);
    else  // every character behind the V counts, editing signs included
        info.scale = static_cast<std::int32_t>(std::strlen(rest));
}

// The repeat rule for the `(` at `pos`; returns where the pass goes on.
std::size_t apply_repeat(const char *pic, std::size_t pos, PictureInfo &info,
                         bool p_after_point)
{
    // The count text ends at the ')' or after 35 characters; the number at its
    // head stops at the ')' by itself.
    const char *count = pic + pos + 1;
    std::int32_t n = read_count(count, COUNT_WIDTH);
    char before = pos > 0 ? pic[pos - 1] : '\0';
    switch (before) {
    case '9':
    case 'A':
    case 'X':  // the letter itself has counted one already
        info.digit_count = add32(info.digit_count, sub32(n, 1));
        break;
    case 'P':  // deliberate: replaces the scale, so PP(3) has 3, not 4
        info.scale = p_after_point ? sub32(0, n) : n;
        break;
    default:  // Z(5) and the like count one position
        break;
    }
    const char *close = std::strchr(count, ')');
    return close != nullptr ? static_cast<std::size_t>(close - pic) + 1 : std::strlen(pic);
}

}  // namespace

// Positions, scale and class of the entry's PICTURE, in one pass.
PictureInfo analyse_picture(FieldDef *field)
{
    copy_text(state.cur_picture, field->picture.c_str());
    const char *pic = state.cur_picture;
    PictureInfo info{};
    bool p_after_point = false;  // a P directly behind a V while the scale was 0
    std::size_t pos = 0;
    while (pic[pos] != '\0') {
        switch (pic[pos]) {
        case '9':
            info.item_class = 1;
            info.digit_count = add32(info.digit_count, 1);
            break;
        case 'A':
        case 'X':
            info.item_class = 2;
            info.digit_count = add32(info.digit_count, 1);
            break;
        case 'P':
            info.item_class = 1;
            info.scale = add32(info.scale, p_after_point ? -1 : 1);
            break;
        case 'S':
            info.item_class = 1;
            field->sign = 1;  // deliberate: overrides a SIGN clause's kind
            break;
        case 'V':
            info.item_class = 1;
            apply_v_rule(pic, pos, info, p_after_point);
            break;
        case '(':
            pos = apply_repeat(pic, pos, info, p_after_point);
            continue;
        default:  // editing characters, lower case, a stray ')': one position each
            info.digit_count = add32(info.digit_count, 1);
            break;
        }
        ++pos;
    }
    if (p_after_point)  // VPP99: the digits lie behind the scaling positions
        info.scale = sub32(info.scale, info.digit_count);
    return info;
}
