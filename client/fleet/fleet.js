"use strict";
(() => {
  const machines = JSON.parse(document.getElementById("data").textContent);
  const collator = new Intl.Collator(undefined, { numeric: true, sensitivity: "base" });
  const columns = ["name", "model", "system", "version", "memory", "seen"];
  for (const machine of machines)
    machine.text = [...columns, "serial"].map((column) => machine[column]).join("\n").toLowerCase();
  const search = document.getElementById("search");
  const body = document.querySelector("#list tbody");
  const more = document.getElementById("more");
  const every = document.getElementById("every");
  const count = document.getElementById("count");
  const heads = [...document.querySelectorAll("#list th")];
  const page = 200;
  let sorting = "name", descending = false, found = [], shown = 0, about = "";

  const compare = (one, other) => sorting === "memory"
    ? one.memory - other.memory : collator.compare(one[sorting], other[sorting]);

  const cell = (row, text, isNumber) => {
    const element = row.insertCell();
    element.textContent = text;
    if (isNumber) element.className = "number";
    return element;
  };

  const showMore = () => {
    const rows = document.createDocumentFragment();
    for (const machine of found.slice(shown, shown + page)) {
      const row = document.createElement("tr");
      const link = document.createElement("a");
      link.href = "pc/" + machine.id + ".html";
      link.textContent = machine.name || "without a name";
      cell(row, "").append(link);
      cell(row, machine.model);
      cell(row, machine.system);
      cell(row, machine.version);
      cell(row, machine.memory ? (machine.memory / 1024).toLocaleString("en", { maximumFractionDigits: 1 }) + " GiB" : "", true);
      cell(row, machine.seen.replace("T", " ").replace("Z", ""));
      rows.append(row);
    }
    body.append(rows);
    shown = Math.min(shown + page, found.length);
    more.hidden = shown === found.length;
    count.textContent = found.length + (found.length === 1 ? " PC" : " PCs") + about +
      (shown < found.length ? "; the first " + shown + " are listed" : "");
  };

  const show = () => {
    const tag = decodeURIComponent(location.hash.slice(1));
    const isTag = tag !== "" && tag !== "all";
    const words = search.value.toLowerCase().split(/\s+/).filter(Boolean);
    found = machines.filter((machine) =>
      (!isTag || machine.tags.includes(tag)) && words.every((word) => machine.text.includes(word)));
    found.sort((one, other) => (descending ? -1 : 1) * compare(one, other) || one.id - other.id);
    // A link says in words what its PCs have in common.
    const link = isTag && document.querySelector('a[href="' + CSS.escape(location.hash) + '"]');
    about = !isTag ? "" : ": " + (link ? link.ariaLabel.replace(/^[^:]*: /, "") : tag);
    every.hidden = !isTag && words.length === 0;
    for (const head of heads)
      head.setAttribute("aria-sort", head.dataset.column !== sorting ? "none" : descending ? "descending" : "ascending");
    body.replaceChildren();
    shown = 0;
    showMore();
  };

  for (const head of heads)
    head.querySelector("button").addEventListener("click", () => {
      descending = sorting === head.dataset.column && !descending;
      sorting = head.dataset.column;
      show();
    });
  search.addEventListener("input", show);
  more.addEventListener("click", showMore);
  every.addEventListener("click", () => {
    search.value = "";
    location.hash = "all";
    show();
  });
  addEventListener("hashchange", () => {
    show();
    // Whoever goes on by the keyboard is at the list then.
    document.querySelector("#list .scroll").focus({ preventScroll: true });
    document.getElementById("list").scrollIntoView();
  });
  show();
})();
