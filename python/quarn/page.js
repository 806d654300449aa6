// Shows the numbers of a round where the pointer or the keyboard is, in all panels at once.
(() => {
  "use strict";
  const { labels, rows } = JSON.parse(document.getElementById("history").textContent);
  const charts = [...document.querySelectorAll("svg[data-x]")].map((svg) => ({
    svg,
    x: JSON.parse(svg.dataset.x),
    cursor: svg.querySelector(".cursor"),
  }));
  const tip = document.getElementById("tip");
  const spoken = document.getElementById("spoken");
  let current = -1;

  const fill = (round) => {
    const table = document.createElement("table");
    labels.forEach((label, k) => {
      const row = table.insertRow();
      const head = document.createElement("th");
      head.textContent = label;
      row.append(head);
      row.insertCell().textContent = rows[round][k];
    });
    tip.replaceChildren(table);
  };

  const place = (left, top) => {
    tip.hidden = false;
    const box = tip.getBoundingClientRect();
    const beside = left + 16 + box.width < innerWidth ? left + 16 : left - 16 - box.width;
    tip.style.left = `${Math.max(4, beside)}px`;
    tip.style.top = `${Math.max(4, Math.min(top + 16, innerHeight - box.height - 4))}px`;
  };

  const show = (round, left, top) => {
    if (round !== current) {
      current = round;
      fill(round);
      for (const { x, cursor } of charts) {
        cursor.setAttribute("x1", x[round]);
        cursor.setAttribute("x2", x[round]);
        cursor.removeAttribute("visibility");
      }
    }
    place(left, top);
  };

  const hide = () => {
    current = -1;
    tip.hidden = true;
    for (const { cursor } of charts) cursor.setAttribute("visibility", "hidden");
  };

  // Last round whose place is not right of the point, or the next one if that is nearer.
  const nearest = (x, point) => {
    let low = 0;
    let high = x.length - 1;
    while (low < high) {
      const middle = (low + high + 1) >> 1;
      if (x[middle] <= point) low = middle;
      else high = middle - 1;
    }
    return low + 1 < x.length && x[low + 1] - point < point - x[low] ? low + 1 : low;
  };

  const step = (key, last) => {
    if (key === "Home") return 0;
    if (key === "End") return last;
    if (key === "ArrowRight") return Math.min(last, current + 1);
    if (key === "ArrowLeft") return current < 0 ? last : Math.max(0, current - 1);
    return -1;
  };

  for (const { svg, x } of charts) {
    if (x.length === 0) continue;
    svg.addEventListener("pointermove", (event) => {
      const box = svg.getBoundingClientRect();
      const point = ((event.clientX - box.left) * svg.viewBox.baseVal.width) / box.width;
      show(nearest(x, point), event.clientX, event.clientY);
    });
    svg.addEventListener("pointerleave", hide);
    svg.addEventListener("blur", hide);
    svg.addEventListener("keydown", (event) => {
      if (event.key === "Escape") return hide();
      const round = step(event.key, x.length - 1);
      if (round < 0) return undefined;
      event.preventDefault();
      const box = svg.getBoundingClientRect();
      const scale = box.width / svg.viewBox.baseVal.width;
      show(round, box.left + x[round] * scale, box.top + box.height / 3);
      spoken.textContent = labels.map((label, k) => `${label} ${rows[round][k]}`).join(", ");
      return undefined;
    });
  }
})();
