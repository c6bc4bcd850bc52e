// What the page knows, and the decisions that follow from it.

const REASONS = {
  'granted': 'A role of the caller holds the operation on the object itself.',
  'granted-by-ancestor': 'An object above grants it on everything below it.',
  'role-0': 'Role 0 may do everything. The cache is not asked.',
  'unknown-operation': 'The host does not know the operation. What is unknown is denied everywhere.',
  'no-roles': 'The caller has no role.',
  'inheritance-off': 'Nothing grants it up to an object that does not inherit, where the way ends.',
  'not-granted': 'Nothing up to the root grants it.',
};
const KINDS = ['added', 'removed', 'inherit-on', 'inherit-off', 'granted', 'revoked', 'now-allowed', 'now-denied',
  'as-before'];
const SCOPES = ['OBJECT', 'CHILDREN', 'OBJECT_AND_CHILDREN'];
const CHANGE_FIELDS = 5;

const wordOf = (bit) => Math.floor((bit >>> 0) / 32);
const maskOf = (bit) => 1 << ((bit >>> 0) % 32);

class Policy {
  constructor(data) {
    this.data = data;
    this.size = data.objects.length;
    this.components = data.names.split('|');
    this.roleNames = new Map(data.roles);
    this.bits = new Map(data.operations);
    this.nameOfBit = new Map();
    for (const [name, bit] of data.operations) {
      if (!this.nameOfBit.has(bit)) {
        this.nameOfBit.set(bit, name);
      }
    }
    this.readTree(data.ascents);
    this.lists = new Map();
    this.lookups = new Map();
  }

  readTree(ascents) {
    this.parents = new Int32Array(this.size);
    this.ends = new Int32Array(this.size).fill(this.size); // the first node that is not below
    this.depths = new Int32Array(this.size);
    const path = [0];
    this.parents[0] = -1;
    for (let node = 1; node < this.size; ++node) {
      for (let ascent = ascents[node]; ascent > 0; --ascent) {
        this.ends[path.pop()] = node;
      }
      this.parents[node] = path[path.length - 1];
      this.depths[node] = path.length;
      path.push(node);
    }
  }

  component(node) { return node === 0 ? '' : this.components[node - 1]; }

  hasChildren(node) { return this.ends[node] > node + 1; }

  children(node) {
    let list = this.lists.get(node);
    if (!list) {
      list = [];
      for (let child = node + 1; child < this.ends[node]; child = this.ends[child]) {
        list.push(child);
      }
      this.lists.set(node, list);
    }
    return list;
  }

  // The nodes from the root to this one.
  path(node) {
    const nodes = [];
    for (let at = node; at >= 0; at = this.parents[at]) {
      nodes.unshift(at);
    }
    return nodes;
  }

  componentsOf(node) { return this.path(node).slice(1).map((each) => this.component(each)); }

  // The nodes of a name from the root down, as far as there are any.
  find(components) {
    const nodes = [0];
    for (const component of components) {
      const node = this.childNamed(nodes[nodes.length - 1], component);
      if (node === undefined) {
        break;
      }
      nodes.push(node);
    }
    return nodes;
  }

  childNamed(node, component) {
    let lookup = this.lookups.get(node);
    if (!lookup) {
      lookup = new Map(this.children(node).map((child) => [this.component(child), child]));
      this.lookups.set(node, lookup);
    }
    return lookup.get(component);
  }

  isCached(node) { return this.data.objects[node] !== 0; }
  state(node) { return this.data.states[this.data.objects[node] - 1]; }
  inherits(node) { return !this.isCached(node) || this.state(node)[0] === 1; }
  onObject(node) { return this.isCached(node) ? this.data.sets[this.state(node)[1]] : []; }
  onChildren(node) { return this.isCached(node) ? this.data.sets[this.state(node)[2]] : []; }

  // The roles among those given that hold a bit in a set.
  static holders(set, roles, bit) {
    const found = [];
    const word = wordOf(bit);
    const mask = maskOf(bit);
    for (let at = 0; at < set.length; at += 3) {
      if (set[at + 1] === word && (set[at + 2] & mask) !== 0 && roles.has(set[at])) {
        found.push(set[at]);
      }
    }
    return found;
  }

  // A decision and the way to it. `bit` is undefined for an operation that is not known.
  explain(roles, bit, components) {
    if (bit === undefined) {
      return {isAllowed: false, reason: 'unknown-operation', path: []};
    }
    if (roles.has(0)) {
      return {isAllowed: true, reason: 'role-0', path: []};
    }
    const nodes = this.find(components);
    const path = [];
    for (let depth = components.length; depth >= 0; --depth) {
      const step = this.step(nodes[depth], components.slice(0, depth), roles, bit);
      const isNamed = depth === components.length;
      const counting = isNamed ? step.rolesOnObject : step.rolesOnChildren;
      step.counts = isNamed ? 'OBJECT' : 'CHILDREN';
      path.push(step);
      if (counting.length > 0) {
        return {isAllowed: true, reason: isNamed ? 'granted' : 'granted-by-ancestor', path};
      }
      if (!step.inherits) {
        return {isAllowed: false, reason: roles.size === 0 ? 'no-roles' : 'inheritance-off', path};
      }
    }
    return {isAllowed: false, reason: roles.size === 0 ? 'no-roles' : 'not-granted', path};
  }

  step(node, components, roles, bit) {
    const isCached = node !== undefined && this.isCached(node);
    return {
      components, node, isCached,
      inherits: !isCached || this.inherits(node),
      rolesOnObject: isCached ? Policy.holders(this.onObject(node), roles, bit) : [],
      rolesOnChildren: isCached ? Policy.holders(this.onChildren(node), roles, bit) : [],
    };
  }

  // What roles may do at a node: for each role, for each bit, whether it is granted there ("here") or above. With a
  // role, of that one alone.
  permissions(node, role) {
    const found = new Map();
    const add = (set, where) => {
      for (const [holder, bit] of Policy.grants(set)) {
        if (role === undefined || role === holder) {
          const bits = found.get(holder) ?? new Map();
          found.set(holder, bits);
          if (!bits.has(bit)) {
            bits.set(bit, where);
          }
        }
      }
    };
    add(this.onObject(node), 'here');
    for (let at = node; this.inherits(at) && at > 0;) {
      at = this.parents[at];
      add(this.onChildren(at), 'above');
    }
    return found;
  }

  // The grants of a set: role and bit.
  static* grants(set) {
    for (let at = 0; at < set.length; at += 3) {
      for (let bits = set[at + 2]; bits !== 0; bits &= bits - 1) {
        yield [set[at], (Math.imul(set[at + 1], 32) + 31 - Math.clz32(bits & -bits)) | 0];
      }
    }
  }

  // The nearest object at or above a node that does not inherit; undefined without any.
  cut(node) {
    for (let at = node; at >= 0; at = this.parents[at]) {
      if (!this.inherits(at)) {
        return at;
      }
    }
    return undefined;
  }

  roleText(role) {
    const name = this.roleNames.get(role);
    return name === undefined ? `role ${role}` : `${role} ${readableText(name)}`;
  }

  operationName(bit) { return this.nameOfBit.get(bit) ?? `bit ${bit}`; }

  // Without what most operations have in common.
  operationText(bit) {
    const name = this.nameOfBit.get(bit);
    if (name === undefined) {
      return `bit ${bit}`;
    }
    const readable = readableName(parsedName(name));
    return readable.startsWith('|OPERATIONS|') ? readable.slice('|OPERATIONS|'.length, -1) : readable;
  }

  get changeCount() { return this.data.changes.length / CHANGE_FIELDS; }

  change(number) {
    const [node, kind, scope, role, bit] =
      this.data.changes.slice(number * CHANGE_FIELDS, (number + 1) * CHANGE_FIELDS);
    return {node, kind: KINDS[kind], scope: SCOPES[scope], role, bit, isOfRole: kind >= KINDS.indexOf('granted')};
  }

  changesAt(node) {
    this.changed ??= this.countChanges();
    return this.changed.get(node) ?? 0;
  }

  countChanges() {
    const counts = new Map();
    for (let at = 0; at < this.data.changes.length; at += CHANGE_FIELDS) {
      const node = this.data.changes[at];
      counts.set(node, (counts.get(node) ?? 0) + 1);
    }
    return counts;
  }

  // All roles that have grants, and those with names.
  allRoles() {
    this.roles ??= this.listRoles();
    return this.roles;
  }

  listRoles() {
    const roles = new Set(this.roleNames.keys());
    for (const set of this.data.sets) {
      for (let at = 0; at < set.length; at += 3) {
        roles.add(set[at]);
      }
    }
    return [...roles].sort((left, right) => left - right);
  }
}
