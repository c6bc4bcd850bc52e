// The tree of objects. Only the rows that can be seen are elements, however many objects there are.

const ROW_PIXELS = 30;
const MOST_PIXELS = 15000000; // browsers cannot scroll much further
const MOST_ROWS_AT_FIRST = 24;
const MOST_ROLE_OPERATIONS = 12;

class Tree {
  constructor(policy, onSelect) {
    this.policy = policy;
    this.onSelect = onSelect;
    this.box = byId('tree');
    this.space = byId('tree-space');
    this.rowBox = byId('tree-rows');
    this.expanded = new Set();
    this.role = undefined;
    this.active = 0;
    this.isPrinted = false;
    this.expandAtFirst();
    this.box.addEventListener('scroll', () => this.render());
    this.box.addEventListener('keydown', (event) => this.onKey(event));
    this.rowBox.addEventListener('click', (event) => this.onClick(event));
    new ResizeObserver(() => this.render()).observe(this.box);
  }

  // Level by level, as long as all of it can be seen at once.
  expandAtFirst() {
    let rows = 1;
    for (let level = [0]; level.length > 0;) {
      const next = [];
      for (const node of level) {
        const children = this.policy.children(node);
        if (children.length > 0 && rows + children.length <= MOST_ROWS_AT_FIRST) {
          rows += children.length;
          this.expanded.add(node);
          next.push(...children);
        }
      }
      level = next;
    }
    this.listRows();
  }

  listRows() {
    this.rows = [];
    for (let node = 0; node < this.policy.size;) {
      this.rows.push(node);
      node = this.expanded.has(node) ? node + 1 : this.policy.ends[node];
    }
    const pixels = this.rows.length * ROW_PIXELS;
    this.scale = Math.min(1, MOST_PIXELS / pixels);
    this.space.style.height = `${pixels * this.scale}px`;
    this.render();
  }

  render() {
    if (this.isPrinted) {
      return;
    }
    const top = this.box.scrollTop / this.scale;
    const first = Math.max(0, Math.floor(top / ROW_PIXELS) - 4);
    const last = Math.min(this.rows.length, first + Math.ceil(this.box.clientHeight / ROW_PIXELS) + 9);
    this.rowBox.style.transform = `translateY(${first * ROW_PIXELS - top + this.box.scrollTop}px)`;
    const visible = this.rows.slice(first, last);
    this.rowBox.replaceChildren(...visible.map((node) => this.row(node)));
    this.box.setAttribute('aria-activedescendant', visible.includes(this.active) ? `node-${this.active}` : '');
  }

  row(node) {
    const {policy} = this;
    const siblings = node === 0 ? [0] : policy.children(policy.parents[node]);
    const isOpen = this.expanded.has(node);
    const depth = policy.depths[node];
    const isActive = node === this.active;
    const made = element('div', {
      'class': `row${isActive ? ' active' : ''}${policy.isCached(node) ? '' : ' absent'}`,
      'role': 'treeitem', 'id': `node-${node}`,
      'aria-level': depth + 1, 'aria-setsize': siblings.length, 'aria-posinset': positionOf(siblings, node) + 1,
      'aria-selected': String(isActive),
      'aria-expanded': policy.hasChildren(node) ? String(isOpen) : undefined,
    },
    element('span', {'class': policy.hasChildren(node) ? `twisty${isOpen ? ' open' : ''}` : 'twisty none',
      'aria-hidden': 'true'}),
    this.label(node), ...this.marks(node));
    made.style.paddingInlineStart = `${6 + 16 * Math.min(depth, 8) + 3 * Math.max(0, Math.min(depth, 40) - 8)}px`;
    return made;
  }

  label(node) {
    return node === 0
      ? element('span', {class: 'label'}, '|', element('span', {class: 'faint'}, ' root'))
      : element('bdi', {class: 'label'}, readableComponent(this.policy.component(node)));
  }

  marks(node) {
    const marks = [];
    if (!this.policy.isCached(node)) {
      marks.push(element('span', {class: 'faint mark'}, 'not in the cache'));
    } else if (!this.policy.inherits(node)) {
      marks.push(element('span', {class: 'cut', title: 'Takes no grants from above'}, 'cut'));
    }
    const mark = this.role === undefined ? this.grantsMark(node) : this.roleMark(node);
    return mark ? [...marks, mark] : marks;
  }

  grantsMark(node) {
    const roles = new Set();
    for (const set of [this.policy.onObject(node), this.policy.onChildren(node)]) {
      for (let at = 0; at < set.length; at += 3) {
        roles.add(set[at]);
      }
    }
    return roles.size === 0 ? null : element('span', {class: 'mark grants'}, count(roles.size, 'role'));
  }

  roleMark(node) {
    const bits = [...(this.policy.permissions(node, this.role).get(this.role) ?? new Map()).keys()].sort(byNumber);
    if (this.role === 0) {
      return element('span', {class: 'mark may'}, 'everything');
    }
    if (bits.length === 0) {
      return element('span', {class: 'mark faint'}, 'nothing');
    }
    const texts = bits.slice(0, MOST_ROLE_OPERATIONS).map((bit) => this.policy.operationText(bit));
    const more = bits.length > MOST_ROLE_OPERATIONS ? ` and ${bits.length - MOST_ROLE_OPERATIONS} more` : '';
    return element('span', {class: 'mark may', title: texts.join(', ') + more}, texts.join(', ') + more);
  }

  showRole(role) {
    this.role = role;
    this.render();
  }

  onClick(event) {
    const row = event.target.closest('.row');
    if (!row) {
      return;
    }
    const node = Number(row.id.slice('node-'.length));
    if (event.target.closest('.twisty')) {
      this.toggle(node);
    }
    this.select(node);
    this.box.focus({preventScroll: true});
  }

  toggle(node) {
    if (!this.expanded.delete(node)) {
      this.expanded.add(node);
    }
    this.listRows();
  }

  select(node) {
    this.active = node;
    this.showActive();
    this.onSelect(node);
  }

  showActive() {
    const top = this.rows.indexOf(this.active) * ROW_PIXELS * this.scale;
    const bottom = top + ROW_PIXELS - this.box.clientHeight;
    if (this.box.scrollTop > top) {
      this.box.scrollTop = top;
    } else if (this.box.scrollTop < bottom) {
      this.box.scrollTop = bottom;
    }
    this.render();
  }

  // Expands what is above a node, and selects it.
  reveal(node) {
    for (const above of this.policy.path(node).slice(0, -1)) {
      this.expanded.add(above);
    }
    this.listRows();
    this.select(node);
  }

  onKey(event) {
    if (event.ctrlKey || event.altKey || event.metaKey) {
      return;
    }
    const move = this.moves()[event.key];
    if (move) {
      event.preventDefault();
      move();
    } else if (event.key.length === 1 && event.key !== '/' && event.key !== ' ') {
      this.jumpTo(event.key.toLowerCase());
    }
  }

  moves() {
    const at = this.rows.indexOf(this.active);
    const page = Math.max(1, Math.floor(this.box.clientHeight / ROW_PIXELS) - 1);
    const to = (index) => () => this.select(this.rows[Math.max(0, Math.min(this.rows.length - 1, index))]);
    return {
      ArrowDown: to(at + 1), ArrowUp: to(at - 1), PageDown: to(at + page), PageUp: to(at - page),
      Home: to(0), End: to(this.rows.length - 1),
      ArrowRight: () => this.open(), ArrowLeft: () => this.close(),
      Enter: () => byId('panel-object').focus(), ' ': () => this.toggleActive(),
    };
  }

  open() {
    if (this.policy.hasChildren(this.active)) {
      if (this.expanded.has(this.active)) {
        this.select(this.active + 1);
      } else {
        this.toggle(this.active);
      }
    }
  }

  close() {
    if (this.expanded.has(this.active)) {
      this.toggle(this.active);
    } else if (this.active > 0) {
      this.select(this.policy.parents[this.active]);
    }
  }

  toggleActive() {
    if (this.policy.hasChildren(this.active)) {
      this.toggle(this.active);
    }
  }

  // The next row that begins with the letter.
  jumpTo(letter) {
    const at = this.rows.indexOf(this.active);
    const rows = [...this.rows.slice(at + 1), ...this.rows.slice(0, at)];
    const found = rows.find((node) =>
      readableComponent(this.policy.component(node)).toLowerCase().startsWith(letter));
    if (found !== undefined) {
      this.select(found);
    }
  }
}

const byNumber = (left, right) => left - right;

// The place of a number in an ascending list.
function positionOf(list, number) {
  let low = 0;
  let high = list.length - 1;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (list[middle] < number) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}
