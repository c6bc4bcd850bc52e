// Elements are made here, from text alone: nothing of a name is ever markup.

const byId = (id) => document.getElementById(id);

// An element; attributes whose value is undefined or false are left out, "on..." are listeners.
function element(tag, attributes, ...content) {
  const made = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes ?? {})) {
    if (name.startsWith('on')) {
      made.addEventListener(name.slice(2), value);
    } else if (value !== undefined && value !== false) {
      made.setAttribute(name, value === true ? '' : value);
    }
  }
  made.append(...content.filter((each) => each !== undefined && each !== null));
  return made;
}

const count = (number, one, many = one + 's') => `${number.toLocaleString('en')} ${number === 1 ? one : many}`;

// A name with faint bars. Each component is isolated, so that its direction of writing stays within it.
function nameElement(components, attributes) {
  const bar = () => element('span', {class: 'bar'}, '|');
  const parts = components.flatMap((each) => [element('bdi', null, readableComponent(each)), bar()]);
  return element('span', {class: 'ns', title: nameOf(components), ...attributes}, bar(), ...parts);
}

const plural = (list, one, many) => (list.length === 1 ? one : many);
