// Making elements, and lists that follow the server without losing the focus.

export const byId = (id) => document.getElementById(id);

// An element with its properties set and its children, elements or texts, appended. What comes
// from the server only ever becomes text, never markup.
export function make(tag, properties = {}, ...children) {
  const element = Object.assign(document.createElement(tag), properties);
  element.append(...children.filter((child) => child !== null));
  return element;
}

// Makes `list` show the records in their order, each in one <li>. An <li> stays where it is as
// long as its record is shown, and `fill(li, record)` runs only when the record has changed, so
// whoever stands on a button in it by keyboard stays there. Gives the <li>s that are new.
export function follow(list, records, keyOf, fill) {
  const items = new Map([...list.children].map((item) => [item.dataset.key, item]));
  const fresh = [];
  let place = list.firstElementChild;
  const wanted = new Set(records.map((record) => String(keyOf(record))));
  for (const [key, item] of items) {
    if (wanted.has(key)) continue;
    if (place === item) place = item.nextElementSibling;
    item.remove();
  }
  for (const record of records) {
    const key = String(keyOf(record));
    const state = JSON.stringify(record);
    let item = items.get(key);
    if (item === undefined) {
      item = make("li");
      item.dataset.key = key;
      fresh.push(item);
    }
    if (item.state !== state) {
      item.state = state;
      fill(item, record);
    }
    if (item === place) place = place.nextElementSibling;
    else list.insertBefore(item, place);
  }
  const remark = list.nextElementSibling;
  if (remark?.matches("p.quiet")) remark.hidden = records.length > 0;
  return fresh;
}

// The one button of an <li>, made the first time; its content is replaced, itself it stays.
export function buttonIn(item, press, ...children) {
  let button = item.querySelector("button");
  if (button === null) {
    button = make("button", { type: "button" });
    item.append(button);
  }
  button.onclick = press;
  button.replaceChildren(...children.filter((child) => child !== null));
  return button;
}
