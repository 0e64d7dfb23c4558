#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "kova/core/Export.h"

namespace util::serializer {
class IStructuredPullDeserializer;
class IStructuredSerializer;
}  // namespace util::serializer

/// Languages in which texts are displayed. A payload contains the text of a value, never the number
/// of the enumerator.
///
/// The text of a value is a language code, in some cases with a region. The name of the enumerator
/// is the text with '_' in place of '-':
///
///     using namespace kova::dovglobals;
///     enumToValue(Language::de_at);  // "de-at"
///     valueToLanguage("de-at");      // Language::de_at
///
/// Some of the codes are not standard codes. Two values have the text "sr". It always reads back as
/// `Language::sr`; `Language::sr_again` can be written but not read.
///
/// `enumToValue` returns the text of a value. The functions `valueTo...` return the value of a
/// text; case matters. Any thread may call them.
namespace kova::dovglobals {

/// A language.
enum class Language : std::uint8_t {
    af,
    ar,
    ar_ae,
    ar_bh,
    ar_dz,
    ar_eg,
    ar_iq,
    ar_jo,
    ar_kw,
    ar_lb,
    ar_ly,
    ar_ma,
    ar_om,
    ar_qa,
    ar_sa,
    ar_sy,
    ar_tn,
    ar_ye,
    az,
    be,
    bg,
    bn,
    bs,
    ca,
    cs,
    da,
    de,
    de_at,
    de_ch,
    de_li,
    de_lu,
    el,
    en,
    en_au,
    en_bz,
    en_ca,
    en_cn,
    en_gb,
    en_ie,
    en_ja,
    en_jm,
    en_ko,
    en_nz,
    en_tt,
    en_tw,
    en_us,
    en_za,
    es,
    es_ar,
    es_bo,
    es_cl,
    es_co,
    es_cr,
    es_do,
    es_ec,
    es_gt,
    es_hn,
    es_mx,
    es_ni,
    es_pa,
    es_pe,
    es_pr,
    es_py,
    es_sv,
    es_uy,
    es_ve,
    et,
    eu,
    fa,
    fi,
    fo,
    fr,
    fr_be,
    fr_ca,
    fr_ch,
    fr_lu,
    ga,
    gd,
    gl,
    he,
    hi,
    hr,
    hu,
    hy,
    id,
    is,
    it,
    it_ch,
    ja,
    ji,
    ka,
    ko,
    lb,
    lt,
    lv,
    mk,
    mn,
    ms,
    mt,
    nl,
    nl_be,
    no,
    pl,
    pt,
    pt_br,
    pt_us,
    rm,
    ro,
    ro_mo,
    ru,
    ru_mo,
    sb,
    sk,
    sl,
    sq,
    sr,
    sr_again,
    sv,
    sv_fi,
    sx,
    sz,
    th,
    tn,
    tr,
    ts,
    uk,
    ur,
    uz,
    ve,
    vi,
    xh,
    zh_cn,
    zh_hk,
    zh_sg,
    zh_tw,
    zu
};

/// Returns the text of a language, or nothing for a number outside the enumeration.
KOVA_API std::optional<std::string> enumToValue(Language value);

/// Returns the language that has this text, or nothing when no language has it.
KOVA_API std::optional<Language> valueToLanguage(const std::string& text);

}  // namespace kova::dovglobals

namespace kova::serializer {

/// Writes the text of a value as one string. Returns false on success, and true when the serializer
/// fails. Returns true and writes nothing for a number outside the enumeration.
KOVA_API bool serialize(util::serializer::IStructuredSerializer& serializer,
                        const dovglobals::Language& value);

/// Reads a value from one string. Returns false on success. Returns true when the next item is not
/// a string or the string is not the text of a value; `value` is then unchanged.
KOVA_API bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                          dovglobals::Language& value);

}  // namespace kova::serializer
