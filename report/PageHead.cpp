#include "report/PageHead.h"

#include "report/TrackFigures.h"

namespace tessivar
{

namespace
{
constexpr auto lightColours =
    "--page:#fbfbfa;--panel:#fff;--text:#14202a;--mid:#46545f;--low:#66737e;--line:#dfe4e8;"
    "--plot:#f3f4f5;--ice:#146a94;--ember:#c2501c;--gone:#f0b394;--amber:#7d5700;"
    "--amberBack:#fdf4dc;--red:#b3261e;--redBack:#fdeceb;";

constexpr auto darkColours =
    "--page:#0d1013;--panel:#14181c;--text:#f5f5f5;--mid:#bac4cd;--low:#8c98a4;--line:#252d34;"
    "--plot:#0b0e11;--ice:#bfeaff;--ember:#ff8a57;--gone:#7c4330;--amber:#f2c14e;"
    "--amberBack:#241f13;--red:#ff9c9c;--redBack:#2b1718;";

constexpr auto rules = R"css(
*{box-sizing:border-box}
html{-webkit-text-size-adjust:100%;color-scheme:light dark}
body{margin:0;background:var(--page);color:var(--text);
font:15px/1.5 Inter,"Segoe UI",Roboto,"Helvetica Neue",Arial,sans-serif;font-variant-numeric:tabular-nums}
main{max-width:1120px;margin:0 auto;padding:40px 32px 56px}
h1,h2,h3{line-height:1.2;font-weight:600;margin:0;overflow-wrap:anywhere}
h1{font-size:34px;letter-spacing:-.01em}
h2{font-size:20px;margin:0 0 12px}
h3{font-size:17px}
p{margin:0}
a{color:var(--ice);text-decoration-thickness:1px;text-underline-offset:2px}
section{margin-top:48px}
.kicker{color:var(--low);font-size:13px;margin-bottom:4px}
.lead{font-size:20px;line-height:1.45;color:var(--text);max-width:44em;margin:14px 0 24px}
header h2{font-size:16px;margin:0 0 6px}
.reading{max-width:64em;font-size:13px;margin-bottom:12px}
.quiet,.advice,.advice *,caption,figcaption,footer{color:var(--low)}
.well{color:var(--mid)}
.alarm{color:var(--red);background:var(--redBack);border-radius:6px;padding:10px 14px;margin:12px 0}
.doubts{list-style:none;margin:0;padding:12px 16px;background:var(--amberBack);border-radius:6px}
.doubts li+li{margin-top:6px}
.doubts strong{color:var(--amber);font-weight:600}
.doubts .advice{color:var(--mid)}
dl{margin:0}
dt{color:var(--low);font-size:13px}
dd{margin:0;overflow-wrap:anywhere}
.facts{display:flex;flex-wrap:wrap;gap:12px 36px;margin-top:24px}
.details{display:grid;grid-template-columns:repeat(auto-fill,minmax(240px,1fr));gap:10px 28px;
margin-top:16px}
table{width:100%;border-collapse:collapse;font-size:14px}
caption{caption-side:bottom;text-align:left;font-size:13px;padding-top:10px}
th,td{padding:7px 14px 7px 0;text-align:left;vertical-align:top;border-bottom:1px solid var(--line)}
thead th{color:var(--low);font-weight:400;font-size:13px}
tbody th{font-weight:600;overflow-wrap:anywhere}
.number{white-space:nowrap}
td.doubt{color:var(--amber)}
.share{min-width:110px}
.bar{display:block;height:3px;margin-top:4px;border-radius:2px;
background:linear-gradient(to right,var(--ember) calc(var(--part)*100%),var(--line) 0)}
.pair{display:grid;grid-template-columns:1fr 1fr;gap:24px 40px}
.pair.wide{grid-template-columns:1fr}
.scroll{overflow-x:auto}
.bleed caption{caption-side:top;padding:0 0 6px;color:var(--mid)}
.bleed th,.bleed td{padding:5px 8px;text-align:right;font-size:13px}
.bleed th{font-weight:400;color:var(--mid);text-align:left;white-space:nowrap}
.bleed thead th{text-align:right;white-space:normal;vertical-align:bottom}
.bleed td{background:color-mix(in srgb,var(--ember) calc(var(--part,0)*60%),transparent)}
.bleed .own{color:var(--low);background:var(--plot)}
.wide .bleed th,.wide .bleed td{padding:4px 5px;font-size:11px}
.wide .bleed thead th{writing-mode:vertical-rl;transform:rotate(180deg);text-align:left}
article{padding:28px 0 36px;border-top:1px solid var(--line);break-inside:avoid}
article:first-of-type{border-top:0;padding-top:8px}
article .doubts{margin-top:12px;padding:8px 14px;font-size:14px}
.type{display:inline-block;margin-left:8px;font-size:13px;font-weight:400;color:var(--low)}
.type::before{content:"";display:inline-block;width:9px;height:9px;margin-right:6px;border-radius:50%;
background:var(--drum)}
figure{margin:16px 0 0}
.row{display:grid;grid-template-columns:88px 1fr;align-items:start}
.row+.row{margin-top:4px}
.label{font-size:13px;color:var(--mid);padding-top:2px}
.plot{position:relative;background:var(--plot);border-radius:3px;overflow:hidden;min-width:0}
.plot svg,.plot img{display:block;width:100%;height:100%}
.wave{height:112px}
.hits{height:12px;background:none}
.hits-row{align-items:center}
.hits-row .label{padding:0;font-size:12px;line-height:12px}
.hits path{stroke:var(--mid);stroke-width:1}
.reduction{height:52px}
.spectrum{height:104px;overflow:visible;background:none}
.spectrum img{border-radius:3px}
.spectrum span{position:absolute;left:-44px;width:38px;text-align:right;font-size:11px;line-height:12px;
transform:translateY(-50%);color:var(--low)}
.times{height:20px;background:none;overflow:visible}
.times span{position:absolute;top:2px;padding-left:4px;border-left:1px solid var(--low);font-size:12px;
line-height:14px;color:var(--low)}
.kept{fill:var(--drum)}.gone{fill:var(--gone)}.plain{fill:var(--low)}
.less{fill:var(--ember);fill-opacity:.85}
.grid{stroke:var(--line);fill:none}
figcaption{font-size:13px;margin:6px 0 0 88px;max-width:64em}
.listen{display:flex;flex-wrap:wrap;gap:12px 24px;margin:16px 0 0 88px}
fieldset{border:1px solid var(--line);border-radius:6px;padding:8px 14px 12px;margin:0;min-width:0}
legend{font-size:13px;color:var(--mid);padding:0 6px}
.player{display:flex;align-items:center;gap:10px}
.player+.player{margin-top:6px}
.player span{width:74px;font-size:13px}
.player audio{height:34px;width:300px;max-width:100%}
.messages h3{font-size:15px;margin:14px 0 4px}
.messages ul{margin:4px 0;padding-left:20px}
.messages li,.messages p{overflow-wrap:anywhere}
footer{margin-top:48px;padding-top:16px;border-top:1px solid var(--line);font-size:13px}
@media (prefers-color-scheme:light),print{.spectrum img{filter:invert(1) hue-rotate(180deg)}}
@media (max-width:720px){
main{padding:24px 16px 40px}
h1{font-size:27px}
.lead{font-size:18px}
.facts{gap:10px 24px}
.pair{grid-template-columns:1fr}
.row{display:block}
.row+.row{margin-top:8px}
.spectrum span{left:4px;width:auto;color:var(--text);
text-shadow:0 0 3px var(--plot),0 0 2px var(--plot),0 0 1px var(--plot)}
.times-row .label{display:none}
figcaption,.listen{margin-left:0}
.overview,.overview tbody,.overview tr,.overview th,.overview td{display:block}
.overview caption{display:block}
.overview thead{position:absolute;clip-path:inset(50%);width:1px;height:1px;overflow:hidden}
.overview tr{display:grid;grid-template-columns:1fr 1fr;gap:2px 16px;padding:10px 0;
border-bottom:1px solid var(--line)}
.overview th,.overview td{border:0;padding:0}
.overview th{grid-column:1/3;font-size:15px}
.overview td::before{content:attr(data-title) " ";color:var(--low);font-size:13px}
.overview td.share .bar{max-width:120px}
.overview td:empty,.overview td.word:empty{display:none}
.overview td.doubt{grid-column:1/3}
.details{grid-template-columns:repeat(auto-fill,minmax(150px,1fr));gap:10px 16px}
.player{flex-wrap:wrap}
fieldset{width:100%}
}
@page{size:A4;margin:14mm 13mm}
@media print{
main{max-width:none;padding:0}
body{font-size:10pt}
h1{font-size:22pt}
.lead{font-size:13pt}
section{margin-top:8mm}
.listen{display:none}
.pair{grid-template-columns:1fr;gap:5mm}
.scroll{overflow:visible;break-inside:avoid}
.bleed th,.bleed td{padding:1mm 2mm;font-size:8pt}
.wide .bleed th,.wide .bleed td{padding:.6mm;font-size:6pt}
.wave{height:14mm}.reduction{height:6mm}.spectrum{height:11mm}
.times{height:4mm}figure{margin-top:2mm}
.details{grid-template-columns:repeat(4,1fr);gap:1.5mm 5mm;margin-top:3mm;font-size:8.5pt}
.details dt{font-size:7.5pt}
article{padding:3mm 0}
.row{grid-template-columns:26mm 1fr}
h2,h3{break-after:avoid}
.overview tr,.doubts li{break-inside:avoid}
a{color:inherit;text-decoration:none}
*{print-color-adjust:exact;-webkit-print-color-adjust:exact}
}
)css";
} // namespace

juce::String reportStyle()
{
    const auto onDark = drumColourVariables (true) + darkColours,
               onLight = drumColourVariables (false) + lightColours;
    return ":root{" + onLight + "}\n@media (prefers-color-scheme:dark){:root{" + onDark
           + "}}\n@media print{:root{" + onLight + "--page:#fff;}}" + juce::String (rules);
}

PageHead::PageHead (Html& page, const char* policy, const juce::String& title, const juce::String& style)
    : head (page.element ("head"))
{
    page.empty ("meta", { { "charset", "utf-8" } });
    page.empty ("meta", { { "http-equiv", "Content-Security-Policy" }, { "content", policy } });
    page.empty ("meta", { { "name", "viewport" }, { "content", "width=device-width, initial-scale=1" } });
    page.empty ("meta", { { "name", "color-scheme" }, { "content", "light dark" } });
    page.leaf ("title", title);
    const auto element = page.element ("style");
    page.verbatim (style.toStdString());
}

} // namespace tessivar
