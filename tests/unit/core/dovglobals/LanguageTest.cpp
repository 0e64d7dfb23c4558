#include "kova/core/dovglobals/Language.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>

#include "EnumTexts.h"

namespace kova::dovglobals {
namespace {

using test::expectTexts;

TEST(LanguageTest, EnumeratorsCountFromZeroAndHaveTheListedTexts) {
    const std::pair<Language, char const*> expected[] = {
        {Language::af, "af"},       {Language::ar, "ar"},       {Language::ar_ae, "ar-ae"},
        {Language::ar_bh, "ar-bh"}, {Language::ar_dz, "ar-dz"}, {Language::ar_eg, "ar-eg"},
        {Language::ar_iq, "ar-iq"}, {Language::ar_jo, "ar-jo"}, {Language::ar_kw, "ar-kw"},
        {Language::ar_lb, "ar-lb"}, {Language::ar_ly, "ar-ly"}, {Language::ar_ma, "ar-ma"},
        {Language::ar_om, "ar-om"}, {Language::ar_qa, "ar-qa"}, {Language::ar_sa, "ar-sa"},
        {Language::ar_sy, "ar-sy"}, {Language::ar_tn, "ar-tn"}, {Language::ar_ye, "ar-ye"},
        {Language::az, "az"},       {Language::be, "be"},       {Language::bg, "bg"},
        {Language::bn, "bn"},       {Language::bs, "bs"},       {Language::ca, "ca"},
        {Language::cs, "cs"},       {Language::da, "da"},       {Language::de, "de"},
        {Language::de_at, "de-at"}, {Language::de_ch, "de-ch"}, {Language::de_li, "de-li"},
        {Language::de_lu, "de-lu"}, {Language::el, "el"},       {Language::en, "en"},
        {Language::en_au, "en-au"}, {Language::en_bz, "en-bz"}, {Language::en_ca, "en-ca"},
        {Language::en_cn, "en-cn"}, {Language::en_gb, "en-gb"}, {Language::en_ie, "en-ie"},
        {Language::en_ja, "en-ja"}, {Language::en_jm, "en-jm"}, {Language::en_ko, "en-ko"},
        {Language::en_nz, "en-nz"}, {Language::en_tt, "en-tt"}, {Language::en_tw, "en-tw"},
        {Language::en_us, "en-us"}, {Language::en_za, "en-za"}, {Language::es, "es"},
        {Language::es_ar, "es-ar"}, {Language::es_bo, "es-bo"}, {Language::es_cl, "es-cl"},
        {Language::es_co, "es-co"}, {Language::es_cr, "es-cr"}, {Language::es_do, "es-do"},
        {Language::es_ec, "es-ec"}, {Language::es_gt, "es-gt"}, {Language::es_hn, "es-hn"},
        {Language::es_mx, "es-mx"}, {Language::es_ni, "es-ni"}, {Language::es_pa, "es-pa"},
        {Language::es_pe, "es-pe"}, {Language::es_pr, "es-pr"}, {Language::es_py, "es-py"},
        {Language::es_sv, "es-sv"}, {Language::es_uy, "es-uy"}, {Language::es_ve, "es-ve"},
        {Language::et, "et"},       {Language::eu, "eu"},       {Language::fa, "fa"},
        {Language::fi, "fi"},       {Language::fo, "fo"},       {Language::fr, "fr"},
        {Language::fr_be, "fr-be"}, {Language::fr_ca, "fr-ca"}, {Language::fr_ch, "fr-ch"},
        {Language::fr_lu, "fr-lu"}, {Language::ga, "ga"},       {Language::gd, "gd"},
        {Language::gl, "gl"},       {Language::he, "he"},       {Language::hi, "hi"},
        {Language::hr, "hr"},       {Language::hu, "hu"},       {Language::hy, "hy"},
        {Language::id, "id"},       {Language::is, "is"},       {Language::it, "it"},
        {Language::it_ch, "it-ch"}, {Language::ja, "ja"},       {Language::ji, "ji"},
        {Language::ka, "ka"},       {Language::ko, "ko"},       {Language::lb, "lb"},
        {Language::lt, "lt"},       {Language::lv, "lv"},       {Language::mk, "mk"},
        {Language::mn, "mn"},       {Language::ms, "ms"},       {Language::mt, "mt"},
        {Language::nl, "nl"},       {Language::nl_be, "nl-be"}, {Language::no, "no"},
        {Language::pl, "pl"},       {Language::pt, "pt"},       {Language::pt_br, "pt-br"},
        {Language::pt_us, "pt-us"}, {Language::rm, "rm"},       {Language::ro, "ro"},
        {Language::ro_mo, "ro-mo"}, {Language::ru, "ru"},       {Language::ru_mo, "ru-mo"},
        {Language::sb, "sb"},       {Language::sk, "sk"},       {Language::sl, "sl"},
        {Language::sq, "sq"},       {Language::sr, "sr"},       {Language::sr_again, "sr"},
        {Language::sv, "sv"},       {Language::sv_fi, "sv-fi"}, {Language::sx, "sx"},
        {Language::sz, "sz"},       {Language::th, "th"},       {Language::tn, "tn"},
        {Language::tr, "tr"},       {Language::ts, "ts"},       {Language::uk, "uk"},
        {Language::ur, "ur"},       {Language::uz, "uz"},       {Language::ve, "ve"},
        {Language::vi, "vi"},       {Language::xh, "xh"},       {Language::zh_cn, "zh-cn"},
        {Language::zh_hk, "zh-hk"}, {Language::zh_sg, "zh-sg"}, {Language::zh_tw, "zh-tw"},
        {Language::zu, "zu"}};
    expectTexts(expected);
}

TEST(LanguageTest, RepeatedTextIsReadAsTheFirstValueWithThisText) {
    EXPECT_EQ(static_cast<int>(Language::sr), 115);
    EXPECT_EQ(static_cast<int>(Language::sr_again), 116);
    EXPECT_EQ(enumToValue(Language::sr_again), "sr");
    EXPECT_EQ(valueToLanguage("sr"), Language::sr);
}

TEST(LanguageTest, TextsWithAnotherCaseOrSeparatorAreRejected) {
    EXPECT_EQ(valueToLanguage("de-at"), Language::de_at);
    EXPECT_EQ(valueToLanguage("de-AT"), std::nullopt);
    EXPECT_EQ(valueToLanguage("de_at"), std::nullopt);
    EXPECT_EQ(valueToLanguage("de-"), std::nullopt);
}

}  // namespace
}  // namespace kova::dovglobals
