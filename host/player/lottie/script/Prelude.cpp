// What the engine runs before any expression: helpers of the translator, and guards.
#include "host/player/lottie/script/Machine.h"

namespace plexion_host::movie {

/// Functions of the language that walk through lists and texts are charged for what they walk through,
/// since nothing inside of them counts. A length has to be a number that stays what it is, so
/// whatever could make one up (accessors, proxies, code from texts) is taken away. Regular
/// expressions are let at texts only as long as their shape allows: a repetition inside of a
/// repetition is refused.
const char* const kPrelude = R"JS(function (global) {
  'use strict';
  var charge = $$charge, repetitionsOf = $$repetitions, apply = Function.prototype.apply;
  var slice = String.prototype.slice, has = Object.prototype.hasOwnProperty;
  function size(list) {
    var length = list.length;
    if (typeof length !== 'number') throw new TypeError('expected a list');
    return length;
  }
  function guard(home, name, cost) {
    var own = home[name];
    if (typeof own !== 'function') return;
    Object.defineProperty(home, name, {value: function () {
      charge(cost(this, arguments));
      return apply.call(own, this, arguments);
    }, writable: true, configurable: true});
  }
  var walk = ['concat', 'copyWithin', 'every', 'fill', 'filter', 'find', 'findIndex', 'forEach',
    'includes', 'indexOf', 'join', 'lastIndexOf', 'map', 'pop', 'push', 'reduce', 'reduceRight',
    'reverse', 'shift', 'slice', 'some', 'sort', 'splice', 'unshift', 'toString',
    'toLocaleString'];
  walk.forEach(function (name) {
    guard(Array.prototype, name, function (list, given) {
      var cost = size(list);
      if (name === 'sort') cost *= 16;
      if (name === 'concat') {
        for (var i = 0; i < given.length; ++i) if (Array.isArray(given[i])) cost += given[i].length;
      }
      return cost;
    });
  });
  var texts = ['includes', 'indexOf', 'lastIndexOf', 'startsWith', 'endsWith', 'repeat',
    'concat', 'localeCompare', 'toLowerCase', 'toUpperCase', 'trim', 'charAt', 'substr',
    'substring', 'slice'];
  texts.forEach(function (name) {
    var searches = name === 'includes' || name === 'indexOf' || name === 'lastIndexOf';
    guard(String.prototype, name, function (text, given) {
      var length = String(text).length, other = typeof given[0] === 'string' ? given[0].length : 1;
      return length * (searches ? Math.min(other, 64) : 1) / 64;
    });
  });
  var shapes = {};
  function shape(pattern) {
    var source = pattern.source;
    if (shapes.hasOwnProperty(source)) return shapes[source];
    return shapes[source] = repetitionsOf(source);
  }
  function match(pattern, text) {
    var repetitions = shape(pattern), length = String(text).length;
    if (repetitions < 0) throw new RangeError('a repetition inside of a repetition is not supported');
    if (length > [65536, 4096, 512, 128, 32][Math.min(repetitions, 4)]) {
      throw new RangeError('a text is too long for this regular expression');
    }
    return length + (repetitions > 1 ? 500 : 0);
  }
  ['exec', 'test'].forEach(function (name) {
    guard(RegExp.prototype, name, function (pattern, given) { return match(pattern, given[0]); });
  });
  ['match', 'replace', 'search', 'split'].forEach(function (name) {
    guard(String.prototype, name, function (text, given) {
      var pattern = given[0];
      if (pattern instanceof RegExp) return match(pattern, text);
      if (name === 'match' || name === 'search') return match(new RegExp(pattern), text);
      return String(text).length;
    });
  });
  global.$$regexp = function (pattern, flags) { return new RegExp(pattern, flags); };
  global.$$list = function (list) {
    if (list === null || list === undefined) throw new TypeError('expected a list');
    charge(size(list));
    return typeof list === 'string' ? list.split('') : Array.isArray(list) ? list
        : Array.prototype.slice.call(list);
  };
  global.$$keys = function (object) {
    var keys = [];
    for (var key in object) { charge(1); keys.push(key); }
    return keys;
  };
  global.$$call = function (f, items) { return apply.call(f, undefined, items); };
  global.$$invoke = function (owner, name, items) { return apply.call(owner[name], owner, items); };
  global.$$named = function (text, names) {
    if (typeof text !== 'string') return text;
    var at = 0, end = text.length, owner, value;
    charge(end);
    function fail() {
      throw new TypeError('eval() takes thisLayer, thisComp or thisProperty and what stands below it');
    }
    function blanks() { while (at < end && text.charCodeAt(at) <= 32) ++at; }
    function word() {
      var from = at;
      while (at < end) {
        var c = text.charCodeAt(at);
        if (!(c > 47 && c < 58 || c > 64 && c < 91 || c > 96 && c < 123 || c === 95 || c === 36)) break;
        ++at;
      }
      if (at === from) fail();
      return slice.call(text, from, at);
    }
    function argument(closing) {
      blanks();
      var quote = text.charCodeAt(at), from, given;
      if (quote === 34 || quote === 39) {
        for (from = ++at; at < end && text.charCodeAt(at) !== quote; ++at) if (text.charCodeAt(at) === 92) fail();
        given = slice.call(text, from, at++);
      } else {
        given = +word();
        if (given !== given) fail();
      }
      blanks();
      if (text.charCodeAt(at++) !== closing) fail();
      return given;
    }
    blanks();
    var first = word();
    if (!has.call(names, first)) fail();
    value = names[first];
    for (blanks(); at < end; blanks()) {
      charge(1);
      var sign = text.charCodeAt(at++);
      if (sign === 46) {
        blanks();
        owner = value;
        value = value[word()];
      } else if (sign === 91) {
        owner = value;
        value = value[argument(93)];
      } else if (sign === 40) {
        value = apply.call(value, owner, [argument(41)]);
        owner = undefined;
      } else {
        fail();
      }
    }
    return value;
  };
  global.$$assign = function (target) {
    for (var i = 1; i < arguments.length; ++i) {
      var from = arguments[i];
      if (from !== null && from !== undefined) {
        Object.keys(from).forEach(function (key) { charge(1); target[key] = from[key]; });
      }
    }
    return target;
  };
  global.$$pair = function (key, value) { var pair = {}; pair[key] = value; return pair; };
  if (!Object.values) Object.values = function (o) { return Object.keys(o).map(function (k) { return o[k]; }); };
  if (!Array.prototype.includes) {
    Object.defineProperty(Array.prototype, 'includes', {value: function (what) {
      return this.indexOf(what) >= 0;
    }});
  }
  ['find', 'findIndex', 'fill'].forEach(function (name) {
    if (Array.prototype[name]) return;
    Object.defineProperty(Array.prototype, name, {value: function (what) {
      for (var i = 0, n = size(this); i < n; ++i) {
        charge(1);
        if (name === 'fill') this[i] = what;
        else if (what(this[i], i, this)) return name === 'find' ? this[i] : i;
      }
      return name === 'fill' ? this : name === 'find' ? undefined : -1;
    }});
  });
  ['padStart', 'padEnd'].forEach(function (name) {
    if (String.prototype[name]) return;
    Object.defineProperty(String.prototype, name, {value: function (length, filler) {
      var text = String(this), more = '', fill = filler === undefined ? ' ' : String(filler);
      while (fill.length > 0 && text.length + more.length < length) { charge(1); more += fill; }
      more = more.substring(0, Math.max(0, length - text.length));
      return name === 'padStart' ? more + text : text + more;
    }});
  });
  delete Function.prototype.constructor;
  Math.random = global.random;
  Object.assign = global.$$assign;
  ['Duktape', 'Proxy', 'Reflect', 'eval', 'Function', 'require', 'module', 'ArrayBuffer', 'DataView',
    'Buffer', 'Int8Array', 'Uint8Array', 'Uint8ClampedArray', 'Int16Array', 'Uint16Array',
    'Int32Array', 'Uint32Array', 'Float32Array', 'Float64Array', 'TextEncoder', 'TextDecoder',
    'performance', 'global', 'globalThis', 'CBOR', '$$charge', '$$repetitions'
  ].forEach(function (name) { delete global[name]; });
  ['defineProperty', 'defineProperties', 'setPrototypeOf', 'create'].forEach(function (name) {
    delete Object[name];
  });
  delete Object.prototype.__defineGetter__;
  delete Object.prototype.__defineSetter__;
  delete Object.prototype.__proto__;
})JS";

}  // namespace plexion_host::movie
