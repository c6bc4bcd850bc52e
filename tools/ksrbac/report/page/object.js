// The panel of the object that is selected in the tree.

class ObjectPanel {
  // `actions`: reveal(node), ask(roles, bit, components), showChanges(node).
  constructor(policy, actions) {
    this.policy = policy;
    this.actions = actions;
    this.panel = byId('panel-object');
  }

  show(node) {
    const {policy} = this;
    const components = policy.componentsOf(node);
    const textForm = nameOf(components);
    const parts = [
      element('h2', null, node === 0 ? '| (root)' : element('bdi', null, readableComponent(policy.component(node)))),
      this.way(node),
      readableName(components) === textForm ? null : element('p', {class: 'text-form'}, 'Text form: ',
        element('code', null, textForm)),
      this.inheritance(node),
      this.changes(node),
      element('h3', null, 'What each role may do here'),
      new Matrix(policy, node, (role, bit) => this.actions.ask([role], bit, components)).box,
      element('h3', null, 'Granted on this object'),
      this.grants(node),
    ];
    this.panel.replaceChildren(...parts.filter(Boolean));
  }

  // The objects above it, each to be selected.
  way(node) {
    const {policy} = this;
    const steps = policy.path(node).slice(0, -1).map((above) => element('li', null, element('button', {
      'type': 'button', 'aria-label': above === 0 ? 'root' : undefined, 'class': `step${policy.inherits(above) ? '' : ' is-cut'}`, 'onclick': () => this.actions.reveal(above),
    }, above === 0 ? '|' : element('bdi', null, readableComponent(policy.component(above))))));
    return steps.length === 0 ? null
      : element('nav', {'class': 'way', 'aria-label': 'Objects above'}, element('ol', null, ...steps));
  }

  inheritance(node) {
    const {policy} = this;
    const cut = policy.cut(node);
    if (!policy.isCached(node)) {
      return element('p', {class: 'notice'},
        'The cache does not hold this object: it has no grants of its own and hinders nothing.',
        cut === undefined ? ' The objects above decide.' : ' The objects above decide, up to ',
        cut === undefined ? null : this.link(cut), cut === undefined ? null : '.');
    }
    if (cut === node) {
      return element('p', {class: 'notice cut-here'}, element('strong', null, 'Inheritance is cut here. '),
        'Grants on the objects above reach neither this object nor anything below it.');
    }
    return element('p', {class: 'notice'}, 'Takes grants from the objects above, up to ',
      cut === undefined ? 'the root.' : this.link(cut),
      cut === undefined ? null : ', where inheritance is cut.');
  }

  link(node) {
    return element('button', {type: 'button', class: 'link', onclick: () => this.actions.reveal(node)},
      nameElement(this.policy.componentsOf(node)));
  }

  changes(node) {
    const number = this.policy.changesAt(node);
    return number === 0 ? null : element('p', {class: 'notice changed'},
      `${count(number, 'change')} since the earlier cache. `,
      element('button', {type: 'button', class: 'link', onclick: () => this.actions.showChanges(node)}, 'Show them'));
  }

  grants(node) {
    const {policy} = this;
    const roles = new Map();
    const add = (set, where) => {
      for (const [role, bit] of Policy.grants(set)) {
        const bits = roles.get(role) ?? new Map();
        roles.set(role, bits);
        bits.set(bit, (bits.get(bit) ?? 0) | where);
      }
    };
    add(policy.onObject(node), 1);
    add(policy.onChildren(node), 2);
    if (roles.size === 0) {
      return element('p', {class: 'empty'}, 'Nothing.');
    }
    const rows = [...roles.keys()].sort(byNumber).flatMap((role) => grantRows(policy, role, roles.get(role)));
    return element('div', {class: 'scroll'}, element('table', {class: 'list'},
      element('thead', null, element('tr', null, ...['Role', 'Where', 'Operations'].map((head) =>
        element('th', {scope: 'col'}, head)))),
      element('tbody', null, ...rows)));
  }
}

// One row for each of the places where a role holds something: on the object, below it, or both.
function grantRows(policy, role, bits) {
  const places = [[3, 'here and below'], [1, 'here'], [2, 'below']];
  return places.flatMap(([where, text]) => {
    const held = [...bits.keys()].filter((bit) => bits.get(bit) === where).sort(byNumber);
    return held.length === 0 ? [] : [element('tr', null, element('th', {scope: 'row'}, policy.roleText(role)),
      element('td', {class: 'where'}, text),
      element('td', null, held.map((bit) => policy.operationText(bit)).join(', ')))];
  });
}
