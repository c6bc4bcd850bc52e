// Why a caller may do something, or may not.

class Why {
  // `reveal(node)` selects an object.
  constructor(policy, reveal) {
    this.policy = policy;
    this.reveal = reveal;
    this.form = byId('why');
    this.error = byId('why-error');
    this.answer = byId('answer');
    this.form.addEventListener('submit', (event) => {
      event.preventDefault();
      this.decide();
    });
    byId('known-roles').append(...policy.allRoles().map((role) =>
      element('option', {value: role}, policy.roleText(role))));
    byId('known-operations').append(...[...policy.bits.keys()].map((name) =>
      element('option', {value: readableName(parsedName(name))})));
  }

  // Fills the form in, and answers.
  ask(roles, bit, components) {
    byId('why-roles').value = roles.join(', ');
    byId('why-operation').value = readableName(parsedName(this.policy.nameOfBit.get(bit) ?? `|bit ${bit}|`));
    byId('why-object').value = readableName(components);
    this.decide(this.policy.nameOfBit.has(bit) ? undefined : bit);
  }

  // `unnamedBit` is an operation that is granted and has no name on the host.
  decide(unnamedBit) {
    let question;
    try {
      question = this.question();
    } catch (error) {
      this.refuse(error.message);
      return;
    }
    this.refuse('');
    const bit = unnamedBit ?? this.policy.bits.get(question.operation);
    const explanation = this.policy.explain(question.roles, bit, question.object);
    this.answer.replaceChildren(...this.answerParts(question, explanation, unnamedBit !== undefined));
  }

  question() {
    return {
      roles: this.readRoles(byId('why-roles').value),
      operation: nameOf(this.readOperation(byId('why-operation').value.trim())),
      object: readName('Object', byId('why-object').value.trim()),
    };
  }

  // Ids, or names of roles, with commas between them.
  readRoles(text) {
    return new Set(text.trim() === '' ? [] : text.split(',').map((item) => this.readRole(item.trim())));
  }

  readRole(text) {
    if (/^-?[0-9]+$/.test(text)) {
      const id = Number(text);
      if (id > 0x7FFFFFFF || id < -0x80000000) {
        throw new Error(`Roles: ${text} does not fit 32 bits.`);
      }
      return id + 0; // -0 is 0
    }
    const wanted = decoded(text).toLowerCase(); // a comma within a name is %2C
    for (const [id, name] of this.policy.roleNames) {
      if (name.toLowerCase() === wanted) {
        return id;
      }
    }
    throw new Error(`Roles: “${text}” is neither the id of a role nor a name that is known here.`);
  }

  // The whole name, or the last component alone when that is enough.
  readOperation(text) {
    if (!text.startsWith('|')) {
      const known = [...this.policy.bits.keys()].map(parsedName).filter((components) =>
        components.length > 0 && readableComponent(components[components.length - 1]).toLowerCase() === text.toLowerCase());
      if (known.length === 1) {
        return known[0];
      }
    }
    return readName('Operation', text);
  }

  refuse(message) {
    this.error.textContent = message;
    this.error.hidden = message === '';
    if (message !== '') {
      this.answer.replaceChildren();
    }
  }

  answerParts(question, explanation, isUnnamed) {
    const {isAllowed, reason, path} = explanation;
    const parts = [element('p', {'class': `verdict ${isAllowed ? 'allowed' : 'denied'}`},
      element('strong', {class: 'word'}, isAllowed ? 'Allowed' : 'Denied'), ' ',
      element('code', {class: 'reason'}, reason)),
    element('p', {class: 'meaning'}, ...this.meaning(reason, path))];
    if (path.length > 0) {
      parts.push(element('ol', {class: 'path'}, ...path.map((step) => this.step(step, path, isAllowed))));
    }
    if (!isAllowed && path.length > 0) {
      parts.push(this.wouldAllow(path));
    }
    if (!isUnnamed) {
      parts.push(this.command(question));
    }
    return parts;
  }

  meaning(reason, path) {
    const last = path[path.length - 1];
    if (reason === 'granted-by-ancestor') {
      return [nameElement(last.components), ' grants it on everything below it.'];
    }
    if (reason === 'inheritance-off') {
      return [nameElement(last.components), ' does not inherit, and nothing up to it grants the operation.'];
    }
    return [REASONS[reason]];
  }

  step(step, path, isAllowed) {
    const isLast = step === path[path.length - 1];
    const kind = !isLast ? 'passed' : isAllowed ? 'grants' : step.inherits ? 'passed' : 'stops';
    const name = nameElement(step.components);
    return element('li', {
      'class': kind, 'data-object': nameOf(step.components), 'data-in-cache': String(step.isCached), 'data-inherits': String(step.inherits),
      'data-counts': step.counts, 'data-on-object': step.rolesOnObject.join(), 'data-on-children': step.rolesOnChildren.join(),
    }, step.node === undefined ? name : element('button', {
      type: 'button', class: 'link', onclick: () => this.reveal(step.node),
    }, name), element('span', {class: 'detail'}, this.stepText(step)));
  }

  stepText(step) {
    if (!step.isCached) {
      return 'not in the cache';
    }
    const roles = (list) => `${plural(list, 'role', 'roles')} ${list.join(', ')}`;
    const texts = [step.inherits ? 'inherits' : 'does not inherit'];
    if (step.rolesOnObject.length > 0) {
      texts.push(`granted on it to ${roles(step.rolesOnObject)}`);
    }
    if (step.rolesOnChildren.length > 0) {
      texts.push(`granted below it to ${roles(step.rolesOnChildren)}`);
    }
    return texts.join('; ');
  }

  wouldAllow(path) {
    const places = path.flatMap((step, index) => [index === 0 ? ' on ' : ', or below ', nameElement(step.components)]);
    return element('p', {class: 'help'}, 'A grant', ...places, ' would allow it.');
  }

  // For those who want to hold the page to the tool.
  command({roles, operation, object}) {
    const list = [...roles].sort(byNumber).join(',');
    return element('p', {class: 'help command'}, 'The same question on the host:', element('code', null,
      `ksrbac check --cache ${quoted(this.policy.data.cache.id)} --operation '${operation}' --roles=${list} --explain '${nameOf(object)}'`));
  }
}

function decoded(text) {
  try {
    return decodeURIComponent(text);
  } catch {
    return text;
  }
}

// Text forms have no quotes in them; the id of a cache may.
function quoted(text) {
  return /^[A-Za-z0-9_.-]+$/.test(text) ? text : `'${readableText(text).replaceAll("'", "'\\''")}'`;
}

function readName(what, text) {
  const components = parsedName(text);
  if (components === null) {
    const bars = text.startsWith('|') && text.endsWith('|') ? '' : ' It begins and ends with a bar, as |KEEPSAFE| does.';
    throw new Error(`${what}: “${text}” is not a name.${bars}`);
  }
  return components;
}
