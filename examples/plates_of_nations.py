"""What number plates look like in the countries that the example images come from.

The texts are invented: each follows a form that is, or was, on the road there, and belongs to
nobody. They are chosen for their scripts, so that a store which mixes up one of them shows it.
"""

from __future__ import annotations

from dataclasses import dataclass
from random import Random

LATIN = "ABCDEFGHJKLMNPRSTUVWXYZ"
CYRILLIC_RU = "АВЕКМНОРСТУХ"
CYRILLIC_UA = "АВЕІКМНОРСТХ"
CYRILLIC_MN = "АБВГДЕӨҮҮХЦЧ"
GREEK = "ΑΒΕΖΗΙΚΜΝΟΡΤΥΧ"
ARABIC = "أبحدرسصطعقكلمنهـوى"
PERSIAN = "بجدسصطقلمنوهی"
HEBREW = "אבדהמצש"
ARMENIAN = "ԱԲԳԴԵԶԼԿՀՁ"
GEORGIAN = "აბგდევზთიკლ"
THAI = "กขคฆงจฉชฌญฎธพ"
LAO = "ກຂຄງຈຊດຕທນບປ"
DEVANAGARI = "कखगचजझञटठडतथ"
BENGALI = "কখগঘচছজঝ"
ETHIOPIC = "አበገደሀወዘ"
HANGUL = "가나다라마거너더러머고노도로모하허호"
HIRAGANA = "あいうえかきくけこさすせそたちつてとなにぬね"

WESTERN_DIGITS = "0123456789"
ARABIC_DIGITS = "٠١٢٣٤٥٦٧٨٩"
PERSIAN_DIGITS = "۰۱۲۳۴۵۶۷۸۹"
DEVANAGARI_DIGITS = "०१२३४५६७८९"
BENGALI_DIGITS = "০১২৩৪৫৬৭৮৯"


@dataclass(frozen=True)
class PlateForm:
    """A form of plate: in `pattern`, `*` is a region, `@` a letter, `#` a digit."""

    nation: str
    pattern: str
    letters: str = LATIN
    regions: str = ""
    digits: str = WESTERN_DIGITS

    def plate(self, rng: Random) -> str:
        """Makes one plate of this form."""
        choices = {"@": self.letters, "#": self.digits, "*": self.regions.split()}
        return "".join(
            rng.choice(choices[mark]) if mark in choices else mark for mark in self.pattern
        )


PLATE_FORMS = (
    PlateForm("DE", "*-@@ ####", regions="B M HH TÜ LÖ GÖ KÜN FÜ"),
    PlateForm("DE", "*-@@ ###E", regions="S KÖT MÜR"),
    PlateForm("AT", "*-##### @", regions="W G SL VÖ"),
    PlateForm("FR", "@@-###-@@"),
    PlateForm("IT", "@@ ###@@"),
    PlateForm("ES", "#### @@@", letters="BCDFGHJKLMNPRSTVWXYZ"),
    PlateForm("PL", "* #####", regions="WA KR GD PO"),
    PlateForm("CZ", "#*# ####", regions="A B S"),
    PlateForm("SE", "@@@ ##@"),
    PlateForm("DK", "@@ ## ###"),
    PlateForm("FI", "@@@-###", letters=LATIN + "ÄÖ"),
    PlateForm("IS", "@@ ###", letters=LATIN + "ÞÖ"),
    PlateForm("NL", "##-@@@-#"),
    PlateForm("GB", "@@## @@@"),
    PlateForm("HR", "* ###-@@", regions="ZG ST ŠI ČK KŽ", letters=LATIN + "ĐŠŽ"),
    PlateForm("RS", "* ###-@@", regions="BG NI ŠA ČA", letters=LATIN + "ĆČŽ"),
    PlateForm("TR", "* @@@ ###", regions="06 34 35"),
    PlateForm("VN", "*@-###.##", regions="29 30 51", letters="ABCDĐEFGH"),
    PlateForm("US", "#@@@###"),
    PlateForm("BR", "@@@#@##"),
    PlateForm("IN", "* ## @@ ####", regions="MH DL KA"),
    PlateForm("AU", "@@@ ## *", regions="😂 😎 😍 😉"),
    PlateForm("RU", "@###@@ *", letters=CYRILLIC_RU, regions="77 78 199"),
    PlateForm("UA", "*####@@", letters=CYRILLIC_UA, regions="АА ВІ КА"),
    PlateForm("BG", "* #### @@", letters="АВЕКМНОРСТУХ", regions="СВ РВ В"),
    PlateForm("MN", "#### *@", letters=CYRILLIC_MN, regions="УБ ДА"),
    PlateForm("GR", "@@@-####", letters=GREEK),
    PlateForm("SA", "@ @ @ ####", letters=ARABIC, digits=ARABIC_DIGITS),
    PlateForm("EG", "@ @ @ ###", letters=ARABIC, digits=ARABIC_DIGITS),
    PlateForm("MA", "##### | @ | ##", letters="أبدهو"),
    PlateForm("IR", "## @ ### ایران ##", letters=PERSIAN, digits=PERSIAN_DIGITS),
    PlateForm("IL", "##-###-##"),
    PlateForm("IL", "@ ##-###", letters=HEBREW),
    PlateForm("AM", "## @@ ###", letters=ARMENIAN),
    PlateForm("GE", "@@@-###", letters=GEORGIAN),
    PlateForm("TH", "#@@ #### *", letters=THAI, regions="กรุงเทพมหานคร เชียงใหม่ ภูเก็ต"),
    PlateForm("LA", "@@ #### *", letters=LAO, regions="ກຳແພງນະຄອນ"),
    PlateForm("NP", "* # @ ####", letters=DEVANAGARI, regions="बा ना को", digits=DEVANAGARI_DIGITS),
    PlateForm("BD", "*-@ ##-####", BENGALI, "ঢাকা-মেট্রো চট্ট-মেট্রো", BENGALI_DIGITS),
    PlateForm("ET", "* #-@#####", letters=ETHIOPIC, regions="አአ ኦሮ አማ"),
    PlateForm("CN", "*@·#####", regions="京 沪 粤 川 鄂"),
    PlateForm("CN", "*@D#####", regions="粤 苏 浙"),
    PlateForm("TW", "@@@-####"),
    PlateForm("JP", "*##@ ##-##", letters=HIRAGANA, regions="品川3 横浜5 なにわ3 札幌5"),
    PlateForm("KR", "##@ ####", letters=HANGUL),
    PlateForm("KR", "###@ ####", letters=HANGUL),
)
