"""The two ends of one link in one program. A host of your own usually has one end only."""
import asyncio

import quarnex


async def print_texts(link: quarnex.Link) -> None:
    async for text in link:  # until the link is closed
        print("received", text.decode("latin-1"))


async def main(identifier: int = 7) -> None:
    async with quarnex.Host() as host:
        server = host.listen(b"METEO", identifier)  # port 20107
        server.open()
        printing = asyncio.create_task(print_texts(server))
        async with host.call(b"METEO", identifier) as client:  # opens it, and closes it without loss
            await client.connected()
            receipt = await client.send(b"HELLO")
            print("the text is", receipt.outcome)
        await host.leave()
        await printing


if __name__ == "__main__":
    asyncio.run(main())
