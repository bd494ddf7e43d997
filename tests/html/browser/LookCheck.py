#!/usr/bin/env python3
"""The browser check: each corpus input and its note, rendered by headless Chromium, look alike.

For every text run (a text node that shows) it compares the computed font size, weight, style,
family and colour, and the margins of the block that holds it. The note's runs must be the
input's runs in order; input runs that the note leaves out must lie in an element the note drops.
Differences are allowed only as the allow-list says, each with its reason.

One Chromium process renders everything: a harness page loads each page into a sandboxed frame
(no script of the page runs), reads the computed styles and writes them into its own document,
which --dump-dom prints. The pages may load nothing: each carries a policy that forbids it, and
host names resolve nowhere.

Usage: LookCheck.py CHROMIUM CORPUS_DIR NOTE_PAGES_TOOL ALLOW_LIST
"""
import html
import json
import pathlib
import re
import subprocess
import sys
import tempfile

POLICY = ('<meta http-equiv="Content-Security-Policy" content="default-src \'none\'; '
          'style-src \'unsafe-inline\'; img-src file: data:">')

PROBE = r"""
const names = NAMES;
const out = {};
function probe(doc) {
  const win = doc.defaultView, runs = [];
  const walker = doc.createTreeWalker(doc.documentElement, NodeFilter.SHOW_TEXT);
  for (let n = walker.nextNode(); n; n = walker.nextNode()) {
    const text = n.nodeValue.replace(/\s+/g, ' ').trim();
    const el = n.parentElement;
    if (!text || !el || el.closest('head,script,style,title,template')) continue;
    const range = doc.createRange();
    range.selectNodeContents(n);
    if (range.getClientRects().length === 0) continue;
    let block = el;
    while (block.parentElement && win.getComputedStyle(block).display.startsWith('inline'))
      block = block.parentElement;
    const s = win.getComputedStyle(el), b = win.getComputedStyle(block);
    runs.push({text: text, element: el.tagName, block: block.tagName,
      dropped: !!el.closest('select,button,object,noscript,input,textarea,iframe,nobr'),
      'font-size': s.fontSize, 'font-weight': s.fontWeight, 'font-style': s.fontStyle,
      'font-family': s.fontFamily, color: s.color,
      margin: [b.marginTop, b.marginRight, b.marginBottom, b.marginLeft].join(' ')});
  }
  return runs;
}
const frame = document.getElementById('frame');
let next = 0;
function load() {
  if (next === names.length * 2) {
    document.getElementById('out').textContent = JSON.stringify(out);
    return;
  }
  const name = names[next >> 1], kind = next % 2 ? 'note' : 'input';
  frame.onload = () => {
    try { (out[name] = out[name] || {})[kind] = probe(frame.contentDocument); }
    catch (e) { (out[name] = out[name] || {})[kind] = 'probe failed: ' + e; }
    next++;
    setTimeout(load, 0);
  };
  frame.src = kind + 's/' + name + '.html';
}
load();
"""


def with_policy(page):
    """The page with a policy that lets it load nothing, after any document type (quirks stay)."""
    match = re.match(r'\s*<!DOCTYPE[^>]*>', page, re.I)
    at = match.end() if match else 0
    return page[:at] + POLICY + page[at:]


def px(value):
    return float(value[:-2]) if value.endswith('px') else None


def same(prop, a, b):
    if prop == 'font-size':
        x, y = px(a), px(b)
        return x is not None and y is not None and abs(x - y) <= max(0.02, 0.002 * x)
    if prop == 'margin':
        xs, ys = [px(v) for v in a.split()], [px(v) for v in b.split()]
        return None not in xs + ys and all(abs(x - y) <= 0.05 for x, y in zip(xs, ys))
    if prop == 'font-family':
        norm = lambda v: ','.join(p.strip().strip('"\'').lower() for p in v.split(','))
        return norm(a) == norm(b)
    return a == b


PROPERTIES = ['font-size', 'font-weight', 'font-style', 'font-family', 'color', 'margin']


def compare(name, inputs, notes):
    """Differences as (input, property, text, input value, note value)."""
    found = []
    at = 0
    for run in notes:
        start = at
        while at < len(inputs) and inputs[at]['text'] != run['text']:
            at += 1
        if at == len(inputs):
            found.append((name, 'text', run['text'], '', 'not in the input'))
            at = start
            continue
        for skipped in inputs[start:at]:
            if not skipped['dropped']:
                found.append((name, 'text', skipped['text'], skipped['element'], 'left out'))
        source = inputs[at]
        at += 1
        for prop in PROPERTIES:
            if not same(prop, source[prop], run[prop]):
                found.append((name, prop, run['text'], source[prop], run[prop]))
    for skipped in inputs[at:]:
        if not skipped['dropped']:
            found.append((name, 'text', skipped['text'], skipped['element'], 'left out'))
    return found


def read_allow_list(path):
    """Rules "INPUT | PROPERTY | INPUT VALUE | NOTE VALUE | reason", the first four regular
    expressions that must match whole; '#' starts a comment."""
    rules = []
    for line in pathlib.Path(path).read_text(encoding='utf-8').splitlines():
        line = line.strip()
        if not line or line.startswith('#'):
            continue
        parts = [p.strip() for p in line.split(' | ')]
        if len(parts) != 5 or not parts[4]:
            sys.exit(f'allow-list: a rule needs an input, a property, two values and a reason: {line}')
        rules.append(([re.compile(p) for p in parts[:4]], parts[4]))
    return rules


def allowing(rules, difference):
    name, prop, _, source, note = difference
    for patterns, reason in rules:
        if all(p.fullmatch(v) for p, v in zip(patterns, (name, prop, source, note))):
            return reason
    return None


def main():
    chromium, corpus, tool, allow_path = sys.argv[1:5]
    corpus = pathlib.Path(corpus)
    rules = read_allow_list(allow_path)
    names = sorted(p.stem for p in corpus.glob('*.html'))
    with tempfile.TemporaryDirectory() as work:
        work = pathlib.Path(work)
        (work / 'inputs').mkdir()
        for name in names:
            page = (corpus / f'{name}.html').read_text(encoding='utf-8')
            (work / 'inputs' / f'{name}.html').write_text(with_policy(page), encoding='utf-8')
        subprocess.run([tool, str(corpus), str(work / 'notes')], check=True)
        (work / 'harness.html').write_text(
            '<!DOCTYPE html><html><body><pre id="out"></pre>'
            '<iframe id="frame" sandbox="allow-same-origin" width="1024" height="768"></iframe><script>' +
            PROBE.replace("NAMES", json.dumps(names)) + '</script></body></html>', encoding='utf-8')
        dump = subprocess.run(
            [chromium, '--headless', '--no-sandbox', '--disable-gpu', '--no-first-run',
             '--disable-background-networking', '--allow-file-access-from-files',
             '--host-resolver-rules=MAP * ~NOTFOUND', f'--user-data-dir={work / "profile"}',
             '--virtual-time-budget=60000', '--dump-dom', (work / 'harness.html').as_uri()],
            capture_output=True, text=True, timeout=240)
        match = re.search(r'<pre id="out">(.*?)</pre>', dump.stdout, re.S)
        if not match or not match.group(1):
            sys.exit(f'chromium gave no result (status {dump.returncode}):\n{dump.stderr[-2000:]}')
        results = json.loads(html.unescape(match.group(1)))

    failures, allowed, runs = [], {}, 0
    for name in names:
        pair = results.get(name, {})
        if not isinstance(pair.get('input'), list) or not isinstance(pair.get('note'), list):
            failures.append(f'{name}: not rendered: {pair}')
            continue
        if not pair['note']:
            failures.append(f'{name}: the note shows no text')
        runs += len(pair['note'])
        for difference in compare(name, pair['input'], pair['note']):
            reason = allowing(rules, difference)
            if reason:
                allowed[reason] = allowed.get(reason, 0) + 1
            else:
                failures.append('%s: %s of "%s": input %s, note %s' % difference)
    for reason, count in sorted(allowed.items()):
        print(f'allowed ({count}): {reason}')
    for failure in failures:
        print(failure)
    print(f'{len(names)} inputs, {runs} text runs of their notes compared: {len(failures)} differences not allowed')
    return 1 if failures else 0


if __name__ == '__main__':
    sys.exit(main())
