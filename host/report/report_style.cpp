// How a report looks: in light, in dark, on a phone and on paper.
#include "host/report/report_style.h"

namespace host {

const char* const kReportStyle = R"css(
:root{color-scheme:light dark;--paper:#fff;--ink:#1b1b1b;--soft:#5c5c5c;--rule:#d4d4d4;--card:#f6f6f6;
--memory:#0072b2;--behind:#8cc1e3;--band:#d6ebf7;--unseen:#e9e9e9;--grid:#e5e5e5;--other:#00785a;--late:#c04f00;
--l0:#0072b2;--l1:#c04f00;--l2:#00785a;--l3:#a8487f;--l4:#8a6100;--l5:#1b1b1b;--old:#b5b5b5}
@media (prefers-color-scheme:dark){:root{--paper:#16181b;--ink:#e8e8e8;--soft:#a9adb2;--rule:#3c4046;--card:#1e2125;
--memory:#56b4e9;--behind:#33688a;--band:#1d3647;--unseen:#272a2f;--grid:#2d3136;--other:#3fcf9f;--late:#ff9a4d;
--l0:#56b4e9;--l1:#ff9a4d;--l2:#3fcf9f;--l3:#e59cc6;--l4:#e6b93c;--l5:#e8e8e8;--old:#5d6167}}
*{box-sizing:border-box}
body{margin:0 auto;max-width:72rem;padding:1rem;background:var(--paper);color:var(--ink);font:16px/1.45 sans-serif}
h1{font-size:1.6rem;margin:.2em 0}h2{font-size:1.3rem;margin:2em 0 .3em;border-top:1px solid var(--rule);padding-top:.6em}
h3{font-size:1rem;margin:0 0 .4em}h1,h2,h3,code,p{overflow-wrap:anywhere}
p{margin:.4em 0}a{color:var(--memory)}.soft{color:var(--soft)}
.wide{overflow-x:auto}table{border-collapse:collapse;font-size:.9rem;margin:.5em 0}
th,td{text-align:left;padding:.25em .7em .25em 0;border-bottom:1px solid var(--rule);vertical-align:top}
th{color:var(--soft);font-weight:normal}td:last-child{min-width:11em}
.cards{display:grid;grid-template-columns:repeat(auto-fill,minmax(min(100%,26rem),1fr));gap:1rem;margin-top:1rem}
article{background:var(--card);border:1px solid var(--rule);border-radius:.4rem;padding:.7rem;min-width:0}
section{content-visibility:auto;contain-intrinsic-size:auto none auto 80rem}
figure{margin:0;max-width:40rem}svg{display:block;width:100%;height:auto}
svg text{font:12px sans-serif;fill:var(--soft)}svg path{fill:none}
figcaption{font-size:.85rem;color:var(--soft)}
.k{display:inline-block;margin-right:1em}.k::before{content:"";display:inline-block;width:1.4em;margin-right:.4em;
vertical-align:.25em;border-top:3px solid var(--c)}
.ax{stroke:var(--soft)}.gr{stroke:var(--grid)}.un{fill:var(--unseen)}.bd{fill:var(--band)}
svg .se{stroke:var(--memory);stroke-width:1.8}svg .be{stroke:var(--behind);stroke-width:1.8}.be{--c:var(--behind)}
svg .ep{stroke:var(--ink);stroke-width:1.6}.ep{--c:var(--ink)}
svg .op{stroke:var(--other);stroke-width:1.6;stroke-dasharray:7 3 2 3}.op{--c:var(--other)}.k.op::before{border-top-style:dashed}
svg .fl{stroke:var(--soft);stroke-dasharray:1 3}.fl{--c:var(--soft)}.k.fl::before{border-top-style:dotted}
svg .we{stroke:var(--soft);stroke-dasharray:6 4}.we{--c:var(--soft)}.k.we::before{border-top-style:dashed}
svg .ev{stroke:var(--late);stroke-width:2;stroke-dasharray:3 5}.ev{--c:var(--late)}.k.ev::before{border-top-style:dotted}
svg .old{stroke:var(--old)}.old{--c:var(--old)}
.l0{--c:var(--l0)}.l1{--c:var(--l1)}.l2{--c:var(--l2)}.l3{--c:var(--l3)}.l4{--c:var(--l4)}.l5{--c:var(--l5)}
svg [class^=l]{stroke:var(--c);stroke-width:1.5}svg circle[class^=l]{fill:var(--c)}svg circle.old{fill:var(--old)}
svg path.l1{stroke-dasharray:6 3}svg path.l2{stroke-dasharray:2 2}svg path.l3{stroke-dasharray:9 3 2 3}
svg path.l4{stroke-dasharray:4 4}svg path.l5{stroke-dasharray:12 3}
details{margin-top:.4em;font-size:.85rem}summary{cursor:pointer;color:var(--memory)}
pre{font:.8rem/1.4 monospace;white-space:pre-wrap;overflow-wrap:anywhere;margin:.4em 0}
pre.table{white-space:pre;overflow-x:auto}
@page{margin:12mm}
@media print{:root{color-scheme:light;--paper:#fff;--ink:#000;--soft:#333;--rule:#999;--card:#fff;--memory:#0072b2;
--behind:#8cc1e3;--band:#d6ebf7;--unseen:#e9e9e9;--grid:#ddd;--other:#00785a;--late:#c04f00;--l0:#0072b2;--l1:#c04f00;
--l2:#00785a;--l3:#a8487f;--l4:#8a6100;--l5:#000;--old:#999}
body{max-width:none;padding:0;font-size:10pt}.wide{overflow:visible}table{font-size:8pt}td{overflow-wrap:anywhere}
section{content-visibility:visible}article{break-inside:avoid}.cards{grid-template-columns:1fr 1fr}
*{print-color-adjust:exact;-webkit-print-color-adjust:exact}
details::details-content{content-visibility:visible;display:block;block-size:auto}summary{display:none}
pre,pre.table{font-size:6.5pt;white-space:pre-wrap}}
)css";

}  // namespace host
