// The table of roles and operations for one object.

const MORE_ROLES = 60;
const MORE_OPERATIONS = 80;

class Matrix {
  // `onAsk(role, bit)` is called for the cell that is chosen.
  constructor(policy, node, onAsk) {
    this.policy = policy;
    this.node = node;
    this.onAsk = onAsk;
    this.permissions = policy.permissions(node);
    this.isWhole = false;
    this.mostRoles = MORE_ROLES;
    this.mostOperations = MORE_OPERATIONS;
    this.box = element('div', {class: 'matrix'});
    this.render();
  }

  roles() {
    return this.isWhole ? this.policy.allRoles() : [...this.permissions.keys()].sort(byNumber);
  }

  bits() {
    const bits = new Set(this.isWhole ? this.policy.nameOfBit.keys() : []);
    for (const held of this.permissions.values()) {
      for (const bit of held.keys()) {
        bits.add(bit);
      }
    }
    return [...bits].sort(byNumber);
  }

  render() {
    const roles = this.roles();
    const bits = this.bits();
    const parts = [this.switch()];
    if (roles.length === 0 || bits.length === 0) {
      parts.push(element('p', {class: 'empty'}, 'No role may do anything here, except role 0, which may do everything.'));
    } else {
      parts.push(element('div', {class: 'scroll'}, this.table(roles.slice(0, this.mostRoles),
        bits.slice(0, this.mostOperations))), this.legend());
      parts.push(this.more(roles.length, 'mostRoles', MORE_ROLES, 'role'),
        this.more(bits.length, 'mostOperations', MORE_OPERATIONS, 'operation'));
    }
    this.box.replaceChildren(...parts.filter(Boolean));
  }

  switch() {
    return element('label', {class: 'switch'}, element('input', {
      type: 'checkbox', checked: this.isWhole, onchange: (event) => {
        this.isWhole = event.target.checked;
        this.render();
        this.box.querySelector('input').focus();
      },
    }), ' All roles and operations');
  }

  more(total, limit, step, what) {
    return total <= this[limit] ? null : element('button', {
      type: 'button', class: 'more', onclick: () => {
        this[limit] += step;
        this.render();
        this.box.querySelector('[tabindex="0"]').focus();
      },
    }, `Show more of ${count(total, what)}`);
  }

  legend() {
    const item = (where, text) => element('span', null, mark(where), ` ${text}`);
    return element('p', {class: 'legend'}, item('here', 'granted here'), item('above', 'granted above'),
      item(undefined, 'not allowed'));
  }

  table(roles, bits) {
    const head = element('tr', {role: 'row'}, element('td', null),
      ...bits.map((bit) => element('th', {'scope': 'col', 'role': 'columnheader', 'title': this.policy.operationName(bit)},
        element('span', null, this.policy.operationText(bit)))));
    const table = element('table', {'role': 'grid', 'aria-label': 'Roles and operations'}, element('thead', null, head),
      element('tbody', null, ...roles.map((role) => this.row(role, bits))));
    this.makeMovable(table);
    return table;
  }

  row(role, bits) {
    const held = this.permissions.get(role);
    const cells = bits.map((bit) => {
      const where = role === 0 ? 'above' : held?.get(bit);
      const answer = role === 0 ? 'allowed, role 0' : where === 'here' ? 'allowed, granted here'
        : where === 'above' ? 'allowed, granted above' : 'not allowed';
      return element('td', {
        'role': 'gridcell', 'tabindex': -1, 'data-role': role, 'data-bit': bit, 'class': where,
        'aria-label': `${this.policy.roleText(role)}, ${this.policy.operationText(bit)}: ${answer}`,
      }, mark(where));
    });
    return element('tr', {role: 'row'},
      element('th', {scope: 'row', role: 'rowheader'}, this.policy.roleText(role)), ...cells);
  }

  // One stop of the tab key; arrow keys move within.
  makeMovable(table) {
    const first = table.querySelector('[role=gridcell]');
    first.tabIndex = 0;
    table.addEventListener('keydown', (event) => this.onKey(event));
    table.addEventListener('click', (event) => this.ask(event.target.closest('[role=gridcell]')));
    table.addEventListener('focusin', (event) => {
      if (event.target.getAttribute('role') === 'gridcell') {
        table.querySelector('[tabindex="0"]').tabIndex = -1;
        event.target.tabIndex = 0;
      }
    });
  }

  onKey(event) {
    const cell = event.target.closest('[role=gridcell]');
    if (!cell || event.ctrlKey || event.altKey || event.metaKey) {
      return;
    }
    const row = cell.parentElement;
    const beside = (other) => other?.children[cell.cellIndex];
    const next = {
      ArrowRight: cell.nextElementSibling, ArrowLeft: cell.previousElementSibling,
      ArrowDown: beside(row.nextElementSibling), ArrowUp: beside(row.previousElementSibling),
      Home: row.children[1], End: row.lastElementChild,
    };
    if (event.key in next) {
      event.preventDefault();
      if (next[event.key]?.getAttribute('role') === 'gridcell') {
        next[event.key].focus();
      }
    } else if (event.key === 'Enter' || event.key === ' ') {
      event.preventDefault();
      this.ask(cell);
    }
  }

  ask(cell) {
    if (cell) {
      this.onAsk(Number(cell.dataset.role), Number(cell.dataset.bit));
    }
  }
}

// Shapes as well as colours tell the answers apart.
function mark(where) {
  return element('i', {'class': `dot ${where ?? 'none'}`, 'aria-hidden': 'true'});
}
