// A bare server: reads a request to its end and answers with nothing.
require("node:http")
  .createServer((request, response) => {
    const received = [];
    request.on("data", (piece) => received.push(piece));
    request.on("end", () => {
      response.writeHead(200, { "content-length": 0, connection: "close" });
      response.end();
    });
  })
  .listen(Number(process.argv[2]), "127.0.0.1");
