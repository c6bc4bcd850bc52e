// Finding objects by a part of their names.

const MOST_FOUND = 200;

class Search {
  constructor(policy, tree) {
    this.policy = policy;
    this.tree = tree;
    this.input = byId('search');
    this.list = byId('found');
    this.status = byId('found-status');
    this.found = [];
    this.chosen = -1;
    this.input.addEventListener('input', () => this.search());
    this.input.addEventListener('keydown', (event) => this.onKey(event));
    this.list.addEventListener('click', (event) => {
      const option = event.target.closest('[role=option]');
      if (option) {
        this.take(Number(option.dataset.index));
      }
    });
  }

  search() {
    const wanted = this.input.value.toLowerCase();
    const nodes = wanted === '' ? [] : this.matches(wanted);
    this.found = nodes.slice(0, MOST_FOUND);
    this.chosen = this.found.length > 0 ? 0 : -1;
    this.show(wanted !== '');
    const more = nodes.length > MOST_FOUND ? `, the first ${MOST_FOUND} are listed` : '';
    this.status.textContent = wanted === '' ? '' : count(nodes.length, 'object') + ' found' + more;
  }

  // With a bar in it the text is a part of the whole name, else of the last component.
  matches(wanted) {
    const {policy} = this;
    const isWhole = wanted.includes('|');
    const found = [];
    const names = ['|'];
    for (let node = 0; node < policy.size; ++node) {
      const own = node === 0 ? '' : this.lowered(node);
      if (isWhole && node > 0) {
        names[policy.depths[node]] = `${names[policy.depths[node] - 1]}${own}|`;
      }
      if ((isWhole ? names[policy.depths[node]] : own).includes(wanted)) {
        found.push(node);
      }
    }
    return found;
  }

  lowered(node) {
    this.loweredNames ??= [];
    return this.loweredNames[node] ??= readableComponent(this.policy.component(node)).toLowerCase();
  }

  show(isSearching) {
    this.list.hidden = !isSearching || this.found.length === 0;
    byId('tree').hidden = isSearching;
    byId('tree-status').hidden = isSearching;
    this.input.setAttribute('aria-expanded', String(!this.list.hidden));
    this.list.replaceChildren(...this.found.map((node, index) => element('li', {
      'role': 'option', 'id': `found-${index}`, 'data-index': index, 'aria-selected': String(index === this.chosen),
      'class': this.policy.isCached(node) ? undefined : 'absent',
    }, nameElement(this.policy.componentsOf(node)))));
    this.mark();
  }

  mark() {
    for (const option of this.list.children) {
      option.setAttribute('aria-selected', String(Number(option.dataset.index) === this.chosen));
    }
    const option = this.list.children[this.chosen];
    this.input.setAttribute('aria-activedescendant', option ? option.id : '');
    option?.scrollIntoView({block: 'nearest'});
  }

  onKey(event) {
    const steps = {ArrowDown: 1, ArrowUp: -1, PageDown: 10, PageUp: -10};
    if (event.key in steps && this.found.length > 0) {
      event.preventDefault();
      this.chosen = Math.max(0, Math.min(this.found.length - 1, this.chosen + steps[event.key]));
      this.mark();
    } else if (event.key === 'Enter' && this.chosen >= 0) {
      event.preventDefault();
      this.take(this.chosen);
    } else if (event.key === 'Escape') {
      event.preventDefault();
      this.close();
      byId('tree').focus();
    }
  }

  close() {
    this.input.value = '';
    this.search();
  }

  take(index) {
    const node = this.found[index];
    this.close();
    this.tree.reveal(node);
    byId('tree').focus({preventScroll: true});
  }
}
