import { Header } from "./Header";

/** Why this page can do nothing here, and what helps. */
export function Obstacle({ title, advice }: { title: string; advice: string[] }) {
  return (
    <>
      <Header />
      <main class="pairing">
        <h2 class="title">{title}</h2>
        {advice.map((text) => (
          <p class="lead" key={text}>
            {text}
          </p>
        ))}
      </main>
    </>
  );
}

/** A browser gives a page that came over plain HTTP from another machine neither cryptography nor notifications. */
export function Insecure() {
  return (
    <Obstacle
      title="這個網址不夠安全"
      advice={[
        "手機的瀏覽器只讓 https 的網頁加密和通知，所以從這個網址沒辦法配對。",
        "請在中繼前面加上有憑證的代理，讓它有 https 的網址，再在電腦上把中繼換成那個網址並重新配對。",
      ]}
    />
  );
}

export function NoStorage() {
  return (
    <Obstacle
      title="瀏覽器不讓這一頁儲存資料"
      advice={["配對的金鑰要存在這個瀏覽器裡。請關閉私密瀏覽，或允許這個網站儲存資料，再重新載入。"]}
    />
  );
}
