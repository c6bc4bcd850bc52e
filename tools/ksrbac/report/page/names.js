// Names of objects and operations.
//
// The text form, by which everything here is stored and compared: a bar, then each component and a bar behind it.
// Letters, digits and -*_. are as they are, a space is "+", every other byte is "%" and two digits.
//
// The readable form, which is shown: characters that can be seen are as they are, and what would mislead (a bar or a
// percent sign within a component, control and format characters, bytes that are not UTF-8) stays as "%" and two
// digits. It is a spelling of the same name, so it can be typed.

const PLAIN = /^[A-Za-z0-9*_.-]*$/;
const NOT_SHOWN = /[\p{C}\p{Zl}\p{Zp}\p{Default_Ignorable_Code_Point}]|(?! )\p{Zs}/u;
const utf8 = new TextEncoder();

function escapedByte(byte) {
  const character = String.fromCharCode(byte);
  if (byte < 0x80 && PLAIN.test(character)) {
    return character;
  }
  return byte === 0x20 ? '+' : '%' + (byte < 16 ? '0' : '') + byte.toString(16).toUpperCase();
}

// One component of any spelling in its text form; null when a "%" has no two digits behind it.
function encodedComponent(text) {
  if (PLAIN.test(text)) {
    return text;
  }
  let encoded = '';
  for (const part of text.match(/%[0-9A-Fa-f]{2}|[^]/gu)) {
    if (part.length === 3 && part[0] === '%') {
      encoded += escapedByte(parseInt(part.slice(1), 16));
    } else if (part === '%') {
      return null;
    } else if (part === '+') {
      encoded += '+';
    } else {
      for (const byte of utf8.encode(part)) {
        encoded += escapedByte(byte);
      }
    }
  }
  return encoded;
}

// The components of a name in their text form; null when the text is not a name.
function parsedName(text) {
  if (text === '|') {
    return [];
  }
  if (text[0] !== '|' || text[text.length - 1] !== '|') {
    return null;
  }
  const components = text.slice(1, -1).split('|').map(encodedComponent);
  return components.includes(null) ? null : components;
}

const nameOf = (components) => '|' + components.map((component) => component + '|').join('');

function sequenceLength(byte) {
  return byte < 0x80 ? 1 : byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : 2;
}

// What a run of escaped bytes shows.
function readableRun(run) {
  let shown = '';
  for (let at = 0; at < run.length;) {
    const end = at + 3 * sequenceLength(parseInt(run.slice(at + 1, at + 3), 16));
    let character = null;
    try {
      character = decodeURIComponent(run.slice(at, end));
    } catch {
      // Not UTF-8: only the first byte is known not to begin a character.
    }
    const isShown = character !== null && !'|%+'.includes(character) && !NOT_SHOWN.test(character);
    shown += isShown ? character : run.slice(at, character === null ? at + 3 : end);
    at = character === null ? at + 3 : end;
  }
  return shown;
}

// A component's readable form, from its text form.
function readableComponent(component) {
  return PLAIN.test(component)
    ? component
    : component.replaceAll('+', ' ').replace(/(?:%[0-9A-F]{2})+/g, readableRun);
}

const readableName = (components) => nameOf(components.map(readableComponent));

// Any other text, such as a role's name, with what must not be shown as \u{HEX}.
function readableText(text) {
  return Array.from(text, (character) => NOT_SHOWN.test(character)
    ? `\\u{${character.codePointAt(0).toString(16).toUpperCase()}}` : character).join('');
}
