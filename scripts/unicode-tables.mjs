// Writes the tables of Unicode properties that the masking functions work with, beside their sources. The argument is
// the folder of the package that has the properties.
//
// unicode_classes.inc: what `classes` exchanges for each other. A class holds the characters of one block, one script
// and one category, the digits 0 to 9 of one set, or the letters that flags are written with. A character that would
// be alone joins the largest class of its block and category, or else of its block and major category; where there is
// none, it is left out, like the characters that are not assigned: nobody can be exchanged for them. Class 0, of size
// 1, is for what stays as it is.
//
// grapheme_breaks.inc: how characters join to what a reader takes for one.

import { readFileSync, writeFileSync } from 'node:fs';
import { resolve } from 'node:path';
import { pathToFileURL } from 'node:url';

const CODE_POINTS = 0x110000;

const EXCHANGED = {
  Uppercase_Letter: 'L', Lowercase_Letter: 'L', Titlecase_Letter: 'L', Modifier_Letter: 'L', Other_Letter: 'L',
  Decimal_Number: 'N', Letter_Number: 'N', Other_Number: 'N',
  Nonspacing_Mark: 'M', Spacing_Mark: 'M', Enclosing_Mark: 'M',
  Math_Symbol: 'S', Modifier_Symbol: 'S', Other_Symbol: 'S',
  Private_Use: 'C',
};

const STAYING = ['Connector_Punctuation', 'Dash_Punctuation', 'Open_Punctuation', 'Close_Punctuation',
  'Initial_Punctuation', 'Final_Punctuation', 'Other_Punctuation', 'Currency_Symbol', 'Format'];

// A flag of a region within a country spells the region's code in tags: letters and digits, format characters by
// their category alone.
const TAGS = { 'tag digit': [0xE0030, 0xE0039], 'tag letter': [0xE0061, 0xE007A], 'tag capital': [0xE0041, 0xE005A] };

const BREAKS = ['Extend', 'ZWJ', 'SpacingMark', 'Prepend', 'Regional_Indicator', 'L', 'V', 'T', 'LV', 'LVT', 'CR', 'LF',
  'Control'];

const source = resolve(process.argv[2] ?? '.');
const load = async (...path) => (await import(pathToFileURL(resolve(source, ...path)).href)).default;
const ranges = (property, value) => load(property, value, 'ranges.mjs');

// What the property says of each code point, undefined where none of the values is said.
async function table(property, values) {
  const of = new Array(CODE_POINTS);
  for (const value of values)
    for (const { begin, end } of await ranges(property, value)) of.fill(value, begin, end);
  return of;
}

// Keys by code point: what has the same key is of one class.
async function classKeys() {
  const index = await load('index.mjs');
  const category = await table('General_Category', [...Object.keys(EXCHANGED), ...STAYING]);
  const block = await table('Block', index.Block);
  const script = await table('Script', index.Script);
  const keys = new Array(CODE_POINTS);
  category.forEach((of, at) => {
    keys[at] = of in EXCHANGED ? `${block[at]}/${EXCHANGED[of]}/${of}/${script[at]}` : 'stays';
  });
  for (const { begin, end } of await ranges('Binary_Property', 'White_Space')) keys.fill('stays', begin, end);
  for (const { begin, end } of await ranges('Binary_Property', 'Regional_Indicator')) keys.fill('flag', begin, end);
  for (const [key, [first, last]] of Object.entries(TAGS)) keys.fill(key, first, last + 1);
  // Digits come in sets of ten, one behind the other.
  for (const { begin, end } of await ranges('General_Category', 'Decimal_Number'))
    for (let at = begin; at < end; ++at) keys[at] = `digits from ${at - (at - begin) % 10}`;
  return keys;
}

const parts = (key, count) => key.split('/').slice(0, count).join('/');

// The largest group whose key begins alike.
function largest(groups, prefix, but) {
  const alike = [...groups].filter(([key]) => key !== but && key.startsWith(`${prefix}/`));
  return alike.sort((a, b) => b[1].length - a[1].length)[0]?.[0];
}

function classes(keys) {
  const groups = new Map([['stays', []]]);
  keys.forEach((key, at) => groups.has(key) ? groups.get(key).push(at) : groups.set(key, [at]));
  for (const [key, [lone]] of [...groups].filter(([, members]) => members.length === 1)) {
    if (!groups.has(key) || groups.get(key).length > 1) continue; // another one has joined it
    const joined = largest(groups, parts(key, 3), key) ?? largest(groups, parts(key, 2), key);
    groups.delete(key);
    if (joined) groups.set(joined, [...groups.get(joined), lone].sort((a, b) => a - b));
  }
  return [...groups.values()];
}

// Runs of code points of one group that follow each other, with the index of each run's first in its group.
function runs(group, number) {
  const found = [];
  group.forEach((codePoint, index) => {
    const run = found.at(-1);
    if (run && run.last + 1 === codePoint) run.last = codePoint;
    else found.push({ first: codePoint, last: codePoint, number, index });
  });
  return found;
}

const hex = (codePoint) => `0x${codePoint.toString(16).toUpperCase().padStart(4, '0')}`;

function classesText(groups, header) {
  const byClass = groups.map(runs);
  const ordered = byClass.flat().sort((a, b) => a.first - b.first);
  const position = new Map(ordered.map((run, at) => [run, at]));
  let first = 0;
  const lines = byClass.map((own, number) => {
    const size = number === 0 ? 1 : groups[number].length;
    const line = `    {${size}, ${hex(groups[number][0])}, ${first}, ${own.length}},`;
    first += own.length;
    return line;
  });
  return [
    ...header,
    '// Ordered by code point: first, last, class, index of first in its class.',
    'inline constexpr Run runs[] = {',
    ...ordered.map(({ first, last, number, index }) => `    {${hex(first)}, ${hex(last)}, ${number}, ${index}},`),
    '};', '',
    '// Positions in runs, class by class.',
    'inline constexpr std::uint16_t runs_by_class[] = {',
    ...byClass.flat().map((run) => `    ${position.get(run)},`),
    '};', '',
    '// Size in characters, first character, first position in runs_by_class, number of runs.',
    'inline constexpr Class classes[] = {', ...lines, '};', ''].join('\n');
}

const BREAK_NAMES = {
  Extend: 'extend', ZWJ: 'joiner', SpacingMark: 'extend', Prepend: 'prepend', Regional_Indicator: 'flag', L: 'leading',
  V: 'vowel', T: 'trailing', LV: 'leading_vowel', LVT: 'leading_trailing', CR: 'control', LF: 'control',
  Control: 'control', pictograph: 'pictograph', linker: 'linker', consonant: 'consonant',
};

async function breaks() {
  const of = await table('Grapheme_Cluster_Break', BREAKS);
  for (const { begin, end } of await ranges('Binary_Property', 'Extended_Pictographic'))
    of.fill('pictograph', begin, end);
  // A mark belongs to the letter before it, even where a line may be broken between the two.
  for (const { begin, end } of await ranges('General_Category', 'Mark'))
    for (let at = begin; at < end; ++at) of[at] ??= 'Extend';
  for (const { begin, end } of await ranges('Indic_Conjunct_Break', 'Linker')) of.fill('linker', begin, end);
  for (const { begin, end } of await ranges('Indic_Conjunct_Break', 'Consonant')) of.fill('consonant', begin, end);
  // Syllables are told by arithmetic.
  return of.fill(undefined, 0xAC00, 0xD7A4);
}

function breaksText(of, header) {
  const found = [];
  of.forEach((value, codePoint) => {
    const name = value && BREAK_NAMES[value];
    const run = found.at(-1);
    if (name && run && run.last + 1 === codePoint && run.name === name) run.last = codePoint;
    else if (name) found.push({ first: codePoint, last: codePoint, name });
  });
  return [
    ...header,
    '// Ordered by code point: first, last, what they are. Others are of no kind; syllables are told by arithmetic.',
    'inline constexpr Run runs[] = {',
    ...found.map(({ first, last, name }) => `    {${hex(first)}, ${hex(last)}, Break::${name}},`),
    '};', ''].join('\n');
}

const version = JSON.parse(readFileSync(resolve(source, 'package.json'))).name.match(/unicode-(\d+\.\d+\.\d+)$/)[1];
const generated = `// Generated by scripts/generate-unicode-classes from Unicode ${version}; not to be edited.`;
const write = (name, text) => writeFileSync(new URL(`../reference-engine/masking/${name}`, import.meta.url), text);
write('unicode_classes.inc', classesText(classes(await classKeys()),
  [generated, '', `inline constexpr char unicode_version[] = "${version}";`, '']));
write('grapheme_breaks.inc', breaksText(await breaks(), [generated, '']));
