// What has changed since an earlier cache.

const MORE_CHANGES = 200;
const KIND_TEXTS = {
  'added': 'object added', 'removed': 'object removed', 'inherit-on': 'inherits now', 'inherit-off': 'inherits no more',
  'granted': 'granted', 'revoked': 'revoked', 'now-allowed': 'now allowed', 'now-denied': 'now denied',
  'as-before': 'as before',
};
const SCOPE_TEXTS = {OBJECT: 'here', CHILDREN: 'below', OBJECT_AND_CHILDREN: 'here and below'};

class Changes {
  constructor(policy, reveal) {
    this.policy = policy;
    this.reveal = reveal;
    this.panel = byId('panel-changes');
    this.hidden = new Set();
    this.node = undefined; // all objects
    this.most = MORE_CHANGES;
    this.counts = new Map(KINDS.map((kind) => [kind, 0]));
    for (let number = 0; number < policy.changeCount; ++number) {
      const {kind} = policy.change(number);
      this.counts.set(kind, this.counts.get(kind) + 1);
    }
    byId('changes-count').textContent = policy.changeCount.toLocaleString('en');
  }

  showOf(node) {
    this.node = node;
    this.hidden.clear();
    this.show();
  }

  show() {
    const {policy} = this;
    const before = policy.data.before;
    const parts = [element('h2', null, 'What has changed'),
      element('p', {class: 'meaning'}, `Since cache ${readableText(before.id)}, ${stateText(before)}.`)];
    if (policy.changeCount === 0) {
      parts.push(element('p', {class: 'empty'}, 'Nothing: both caches hold the same and decide the same.'));
    } else {
      const wanted = this.wanted();
      parts.push(this.filters(), this.onlyOne(), this.table(wanted.slice(0, this.most)), this.more(wanted.length));
    }
    this.panel.replaceChildren(...parts.filter(Boolean));
  }

  wanted() {
    const numbers = [];
    for (let number = 0; number < this.policy.changeCount; ++number) {
      const {kind, node} = this.policy.change(number);
      if (!this.hidden.has(kind) && (this.node === undefined || this.node === node)) {
        numbers.push(number);
      }
    }
    return numbers;
  }

  // One switch for each kind that there is.
  filters() {
    const kinds = KINDS.filter((kind) => this.counts.get(kind) > 0);
    return element('div', {'class': 'filters', 'role': 'group', 'aria-label': 'Kinds of changes'},
      ...kinds.map((kind) => element('button', {
        'type': 'button', 'class': `kind ${kind}`, 'data-kind': kind, 'aria-pressed': String(!this.hidden.has(kind)),
        'onclick': () => this.turn(kind),
      }, KIND_TEXTS[kind], ' ', element('span', {class: 'count'}, this.counts.get(kind).toLocaleString('en')))));
  }

  turn(kind) {
    if (!this.hidden.delete(kind)) {
      this.hidden.add(kind);
    }
    this.show();
    this.panel.querySelector(`[data-kind="${kind}"]`).focus();
  }

  onlyOne() {
    return this.node === undefined ? null : element('p', {class: 'notice'}, 'Of ',
      nameElement(this.policy.componentsOf(this.node)), ' alone. ',
      element('button', {type: 'button', class: 'link', onclick: () => this.showOf(undefined)}, 'Show all'));
  }

  table(numbers) {
    const heads = ['Change', 'Object', 'Role', 'Operation', 'Where'].map((head) => element('th', {scope: 'col'}, head));
    return element('div', {class: 'scroll'}, element('table', {class: 'list changes'},
      element('thead', null, element('tr', null, ...heads)),
      element('tbody', null, ...numbers.map((number) => this.row(this.policy.change(number))))));
  }

  row(change) {
    const {policy} = this;
    const components = policy.componentsOf(change.node);
    const data = {'data-kind': change.kind, 'data-object': nameOf(components)};
    if (change.isOfRole) {
      Object.assign(data, {'data-role': change.role, 'data-operation': policy.operationName(change.bit),
        'data-scope': change.scope});
    }
    const cell = (content) => element('td', null, content);
    return element('tr', data, element('td', null, element('span', {class: `kind ${change.kind}`}, KIND_TEXTS[change.kind])),
      cell(element('button', {type: 'button', class: 'link', onclick: () => this.reveal(change.node)},
        nameElement(components))),
      ...(change.isOfRole ? [cell(policy.roleText(change.role)), cell(policy.operationText(change.bit)),
        cell(SCOPE_TEXTS[change.scope])] : [cell(''), cell(''), cell('')]));
  }

  more(total) {
    return total <= this.most ? null : element('button', {
      type: 'button', class: 'more', onclick: () => {
        this.most += 5 * MORE_CHANGES;
        this.show();
        this.panel.focus({preventScroll: true});
      },
    }, `Show more of ${count(total, 'change')}`);
  }
}

function stateText(cache) {
  const generation = cache.generation === null ? '' : `generation ${cache.generation}, `;
  return `${generation}written ${cache.changed.replace('T', ' ').replace(/\.[0-9]+Z$/, '')} UTC`;
}
